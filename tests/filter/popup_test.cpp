// What is put into pages against pop-up windows and script errors, compared whole; and what becomes
// of the text of inline scripts.

#include <new>

#include "core/content_handler.h"
#include "filter/filter_page.h"
#include "html/page_chunk.h"
#include "support/log_recorder.h"

namespace velmora::testing {
namespace {

constexpr char POPUP_LINES[] = R"(
var ZulRealWinOpen = window.open;

function ZulWinOpen(url, name, attributes)
{
  return (new Object());
}

window.open = ZulWinOpen;
)";

constexpr char ERROR_LINES[] = R"(
function ZulError()
{
  return true;
}

window.onerror = ZulError;
)";

std::string ScriptOf(const std::string &lines) {
  return "\n<script language=\"JavaScript\">\n<!--\n" + lines + "\n//-->\n</script>\n\n";
}
const std::string POPUP_SCRIPT = ScriptOf(POPUP_LINES);
const std::string ERROR_SCRIPT = ScriptOf(ERROR_LINES);
const std::string BOTH_BEHIND_VBSCRIPT = "\n<script language=\"VBScript\">\n</script>\n" +
                                         ScriptOf(std::string(ERROR_LINES) + POPUP_LINES);

/// A page with marks for the texts: "{P}" for one of the pop-up scripts, "{R}" for the restoring
/// one, "{w}" and "{o}" for what stands around a wrapped event handler.
std::string Fill(std::string page, const std::string &popup_script = POPUP_SCRIPT) {
  const std::pair<std::string_view, std::string> marks[] = {
      {"{P}", popup_script},
      {"{R}", ScriptOf("\nwindow.open = ZulRealWinOpen;\n")},
      {"{w}", "\"var ZulTmpWinOpen = window.open; window.open = ZulWinOpen; "},
      {"{o}", "; window.open = ZulTmpWinOpen;\""},
  };
  for (const auto &[mark, text] : marks) {
    for (std::size_t at = 0; (at = page.find(mark, at)) != std::string::npos; at += text.size()) {
      page.replace(at, mark.size(), text);
    }
  }
  return page;
}

/// The page without marks gets the scripts where the marks "{P}" and "{R}" stand.
PageCase Given(std::set<std::int32_t> categories, const std::string &form,
               const std::string &popup_script = POPUP_SCRIPT) {
  std::string page = form;
  for (const char *const mark : {"{P}", "{R}"}) {
    if (const std::size_t at = page.find(mark); at != page.npos) page.erase(at, 3);
  }
  return {std::move(categories), page, Fill(form, popup_script)};
}

TEST(Popups, ScriptsGoWhereThePageNeedsThem) {
  const PageCase cases[] = {
      // Before the first SCRIPT, once.
      Given({307}, "a{P}<script>1</script><script>2</script>"),
      Given({306}, "a{P}<script>1</script>", ERROR_SCRIPT),
      Given({306, 307}, "a{P}<script language=\"VBScript\">1</script>", BOTH_BEHIND_VBSCRIPT),
      Given({306, 307}, "{P}<script type='Text/VBScript'>1</script>", BOTH_BEHIND_VBSCRIPT),
      Given({307}, "{P}<script type=text/vbscript language=JScript1.1></script>"),
      Given({307}, "{P}<script type=text/tcl></script>"),
      // Before a BODY or FRAMESET with an event handler, if that comes first.
      {{307},
       "<html><body class=c onload='doIt()' id=i>a<script>1</script></body></html>",
       Fill("<html>{P}<body class=c onload={w}doIt(){o} id=i>a<script>1</script></body></html>")},
      {{307},
       "<frameset onunload=\"'x'\" onload=y></frameset>",
       Fill("{P}<frameset onunload={w}x{o} onload={w}y{o}></frameset>")},
      Given({307}, "<body>a{P}<script>1</script></body>"),
      Given({306}, "{P}<body onload=x>a</body>", ERROR_SCRIPT),
      Kept({}, "<body onload=x>a<script>1</script></body>"),
      Given({308}, "<html><script>1</script>{R}</html>"),
      // An attribute without a value is none to wrap, but the page has its handler.
      {{307},
       "<body onload>a<img onload><img onunload=''>",
       Fill("{P}<body onload>a<img onload><img onunload={w}{o}>")},
      // Images are wrapped, and nothing is inserted for them.
      {{307},
       "<img onload=a alt=b onunload=\"c\">d",
       Fill("<img onload={w}a{o} alt=b onunload={w}c{o}>d")},
      // The real window.open comes back before each end of the page that was given the script.
      Given({307, 308}, "<html><head>{P}<script>1</script></head>{R}</html>b"),
      {{307, 308}, "<html><body onload=x>a", Fill("<html>{P}<body onload={w}x{o}>a{R}")},
      Kept({307, 308}, "<html><p>a</html>"),
      // Outside all that will be removed around the first SCRIPT.
      {{300, 307}, "a<script>1</script>b", Fill("a{P}b"), {{300, "(Script)", ""}}},
      {{301, 307},
       "a<applet>b<b>c<applet>d<i><script>1</script></i></applet></b></applet>e",
       Fill("a{P}e"),
       {{301, "(Applet)", ""}, {301, "(Applet)", ""}}},
      {{301, 307, 308},
       "<html>a<p><applet>b<p><script>1</script></applet>c</p></html>",
       Fill("<html>a<p>{P}c</p>{R}</html>"),
       {{301, "(Applet)", ""}}},
  };
  for (const PageCase &c : cases) ExpectPage(c);
}

TEST(Popups, HeedWhatThePageProtectsItselfWith) {
  using Told = std::vector<std::string>;
  const std::string meta =
      "<meta http-equiv=\"content-security-policy\" content=\"script-src 'self'\">";
  const std::string policy = "policy script-src 'self'";
  const struct {
    const char *nonce;
    const char *nonce_behind_meta;
    std::string page;
    std::string expected;
    Told told;
  } cases[] = {
      // With the nonce that is asked for; without any where none is.
      {"R4n+/=", "", "<html>[<script>1</script>]", "<html>[{P}<script>1</script>]{R}", {}},
      {"", "", "<html><body onload=x>", "<html>{P}<body onload={w}x{o}>{R}", {}},
      // Left out, with all that would call it.
      {nullptr,
       "",
       "<html><script>1</script><body onload=x><img onload=y>",
       "<html><script>1</script><body onload=x><img onload=y>",
       {"left out 306", "left out 307"}},
      {"",
       nullptr,
       "<html>" + meta + "<script>1</script>",
       "<html>" + meta + "<script>1</script>",
       {policy, "left out 306", "left out 307"}},
      // window.open comes back before it no longer can.
      {"",
       nullptr,
       "<html><script>1</script>" + meta + "<body onload=x></html>",
       "<html>{P}<script>1</script>{R}" + meta + "<body onload=x></html>",
       {policy, "left out 307"}},
      {"N",
       "N",
       "<html><script>1</script>" + meta,
       "<html>{P}<script>1</script>" + meta + "{R}",
       {policy}},
      // Quotes that belong to a handler stay in it.
      {"",
       "",
       "<html><body onload=\"a = 'b'\"><img onload='go(\"c\")'><img onload=go(\"d\")>",
       "<html>{P}<body onload={w}a = 'b'{o}><img onload={w}go(&quot;c&quot;){o}>"
       "<img onload={w}go(&quot;d&quot;){o}>{R}",
       {}},
      // An image that goes leaves nothing of a handler behind.
      {"", "", "a<img src=/ads/1 onload=b>c", "ac", {}},
      // Other METAs are none, nor are scripts that nothing pins.
      {"",
       nullptr,
       "<meta http-equiv=refresh content=1><script src=a></script>",
       "<meta http-equiv=refresh content=1>{P}<script src=a></script>",
       {}},
      {"",
       "",
       "<script src='/a.js' integrity=\"sha384-x\"></script>",
       "{P}<script src='/a.js' integrity=\"sha384-x\"></script>",
       {"pinned /a.js http://www.example.com/a.js"}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.page);
    FakePageProtection protection;
    protection.nonce = c.nonce;
    protection.nonce_behind_meta = c.nonce_behind_meta;
    FilterRun run({305, 306, 307, 308});
    run.context.protection = &protection;
    std::string expected = Fill(c.expected, ScriptOf(std::string(ERROR_LINES) + POPUP_LINES));
    if (c.nonce != nullptr && *c.nonce != '\0') {
      const std::string_view tag = "<script language=\"JavaScript\"";
      for (std::size_t at = 0; (at = expected.find(tag, at)) != expected.npos;) {
        at += tag.size();
        expected.insert(at, std::string(" nonce=\"") + c.nonce + "\"");
      }
    }
    EXPECT_EQ(run.Page({c.page}), expected);
    EXPECT_EQ(protection.told, c.told);
  }
}

TEST(Popups, LogTheElementsThatTheScriptGoesAround) {
  const LogRecorder log;
  FilterRun run({300, 301, 307});
  run.Page({"<applet><b><applet><script>1</script></applet></b></applet><script>2</script>"});
  EXPECT_EQ(LogRecorder::Text(),
            "*** outer SCRIPT flagged for removal\n"
            "*** outer APPLET flagged for removal\n"
            "*** outer APPLET flagged for removal\n");
}

TEST(Popups, TextsAreWrittenInThePagesCharacterSet) {
  FilterRun run({306});
  run.context.content_type = "text/html; charset=UTF-16LE";
  const auto wide = [](std::string_view text) {
    std::string bytes;
    for (const char c : text) bytes.append({c, '\0'});
    return bytes;
  };
  EXPECT_EQ(run.Page({wide("<script></script>")}),
            wide(Fill("{P}<script></script>", ERROR_SCRIPT)));
}

/// Replaces what it is given by its name and length.
class NamingHandler final : public CContentHandler {
 public:
  explicit NamingHandler(std::string name) : name_(std::move(name)) {}

 protected:
  void Process(const Chunk &chunk) override {
    EXPECT_NE(context(), nullptr);
    PageChunk page;
    page.Enter(chunk);
    page.Replace(chunk.offset(), chunk.length(), name_ + std::to_string(chunk.length()));
  }

 private:
  std::string name_;
};

TEST(InlineScripts, GoThroughTheHandlerOfTheirLanguage) {
  const PageCase cases[] = {
      {{}, "<script>a<b</script>.<script></script>", "<script>JS3</script>.<script>JS0</script>"},
      {{},
       "<script type=text/vbscript>a</script><script>bc</script>",
       "<script type=text/vbscript>VB1</script><script>VB2</script>"},
      {{},
       "<script language='MyVBScript'>a</script><script type=\"TEXT/JAVASCRIPT\">bc</script>",
       "<script language='MyVBScript'>VB1</script><script type=\"TEXT/JAVASCRIPT\">JS2</script>"},
      {{},
       "<script>a</script><script type=text/vbscript language=jscript>b</script>",
       "<script>JS1</script><script type=text/vbscript language=jscript>JS1</script>"},
      Kept({}, "<script src=x>a</script><script src>b</script>"),
      {{300},
       "<script onload=x>abc</script>.",
       ".",
       {{300, "onload=x", ""}, {300, "(Script)", ""}}},
      {{}, "a<script>bcd<e", "a<script>JS5"},
  };
  const ScriptHandlerMakers makers{[] { return new NamingHandler("JS"); },
                                   [] { return new NamingHandler("VB"); }};
  for (const PageCase &c : cases) ExpectPage(c, makers);
}

TEST(InlineScripts, PassWhenTheirHandlerCannotBeMade) {
  FilterRun run({301});
  run.makers.javascript = [] { return nullptr; };
  run.makers.vbscript = []() -> IDataProcessor * { throw std::bad_alloc(); };
  EXPECT_EQ(run.Page({"<script>a</script><script type=text/vbscript>b</script><applet></applet>"}),
            "<script>a</script><script type=text/vbscript>b</script>");
}

}  // namespace
}  // namespace velmora::testing
