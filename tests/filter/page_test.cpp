// Pages through the filters, by what each category does to them.

#include <span>
#include <utility>

#include "filter/filter_page.h"

namespace velmora::testing {
namespace {

const Report BLOCKED_SCRIPT{300, "(Script)", ""};
const Report BLOCKED_APPLET{301, "(Applet)", ""};
const Report BLOCKED_CONTROL{302, "(ActiveX)", ""};
constexpr char FLASH_TYPE[] = "\"application/x-shockwave-flash\"";
constexpr char FLASH_CLASS[] = "\"D27CDB6E-AE6D-11CF-96B8-444553540000\"";
constexpr char ADS_FOLDER[] = "\"ads folder\"";

const PageCase ACTIVE_CONTENT[] = {
    // Event attributes, of every element, in any letter case; what is not in the set stays.
    {{300},
     "<p onclick=\"a()\" id=x ONLOAD=b()>t</p>",
     "<p  id=x >t</p>",
     {{300, "onclick=\"a()\"", ""}, {300, "onload=b()", ""}}},
    {{300},
     "<b onfocus=1 onblur='2' onpaste=3 on=4 onloadx=5>",
     "<b   onpaste=3 on=4 onloadx=5>",
     {{300, "onfocus=1", ""}, {300, "onblur='2'", ""}}},
    {{300},
     "<i onclick>t</i><i onclick=>t</i>",
     "<i >t</i><i =>t</i>",
     {{300, "onclick=", ""}, {300, "onclick=", ""}}},
    // Links that run a script.
    {{300},
     "<a href=\" JavaScript:x()\">l</a><area href=see.javascript:y>",
     "<a href=\"\">l</a><area href=\"\">",
     {{300, "\" JavaScript:x()\"", ""}, {300, "see.javascript:y", ""}}},
    {{300},
     "<a href=java.html>l</a><link href='javascript:x'>",
     "<a href=java.html>l</a><link href='javascript:x'>",
     {}},
    {{300},
     "<a onclick=x class=c href='javascript:y' id=i>l</a>",
     "<a  class=c href=\"\" id=i>l</a>",
     {{300, "onclick=x", ""}, {300, "'javascript:y'", ""}}},
    {{301, 302},
     "<a href=javascript:x onclick=y>l</a>",
     "<a href=javascript:x onclick=y>l</a>",
     {}},
    // Whole elements.
    {{300},
     "a<script>if (1<2) '</b>';</SCRIPT>b<script src=x></script>c",
     "abc",
     {BLOCKED_SCRIPT, BLOCKED_SCRIPT}},
    {{301}, "<applet code=x><param name=a>no <b>Java</b></applet>.", ".", {BLOCKED_APPLET}},
    {{302}, "<object data=x><embed src=y></embed></object>.", ".", {BLOCKED_CONTROL}},
    {{301}, "a<applet>b<applet>c</applet>d</applet>e", "ae", {BLOCKED_APPLET, BLOCKED_APPLET}},
    {{301, 302}, "<object><applet></applet>t</object>.", ".", {BLOCKED_CONTROL, BLOCKED_APPLET}},
    {{},
     "<applet></applet><object></object><script></script>",
     "<applet></applet><object></object><script></script>",
     {}},
    // Closed by an outer end tag.
    {{301}, "a<div><applet>b<i>c</div>d", "a<div></div>d", {BLOCKED_APPLET}},
};

const PageCase FLASH[] = {
    {{303},
     "<embed type='APPLICATION/X-Shockwave-Flash' src=m>no Flash</embed>.",
     ".",
     {{303, "EMBED type='APPLICATION/X-Shockwave-Flash'", FLASH_TYPE}}},
    {{303},
     "<embed type=\" application/x-shockwave-flash\"></embed><embed src=m.swf></embed>",
     "<embed type=\" application/x-shockwave-flash\"></embed><embed src=m.swf></embed>",
     {}},
    {{303},
     "<object classid=\"clsid:{d27cdb6e-ae6d-11cf-96b8-444553540000}\">t</object>.",
     ".",
     {{303, "OBJECT classid=\"clsid:{d27cdb6e-ae6d-11cf-96b8-444553540000}\"", FLASH_CLASS}}},
    {{303},
     "<object><param name=movie value=m.swf></object>",
     "<object><param name=movie value=m.swf></object>",
     {}},
    {{302, 303},
     "<object classid=D27CDB6E-AE6D-11CF-96B8-444553540000></object>.",
     ".",
     {BLOCKED_CONTROL, {303, "OBJECT classid=D27CDB6E-AE6D-11CF-96B8-444553540000", FLASH_CLASS}}},
    // Flash is not looked at as an advertisement.
    {{303, 304, 305},
     "<embed type=application/x-shockwave-flash src=/ads/m width=468 height=60></embed>.",
     ".",
     {{303, "EMBED type=application/x-shockwave-flash", FLASH_TYPE}}},
};

const PageCase ADS_BY_ADDRESS[] = {
    {{305},
     "<a class=c href=\"/ads/1\">x<b>y</b></a>.",
     ".",
     {{305, "A href=\"/ads/1\"", ADS_FOLDER}}},
    {{305}, "<iframe src=/ads/1>x</iframe>.", ".", {{305, "IFRAME src=/ads/1", ADS_FOLDER}}},
    {{305}, "<embed src=/ads/1></embed>.", ".", {{305, "EMBED src=/ads/1", ADS_FOLDER}}},
    {{305},
     "<form action=' /ads/1 '><p>x</form>.",
     ".",
     {{305, "FORM action=' /ads/1 '", ADS_FOLDER}}},
    {{305}, "<form method=get action=/find>x</form>", "<form method=get action=/find>x</form>", {}},
    {{305},
     "a<img alt=x src=/track/1.gif>b<img src=c.gif>",
     "ab<img src=c.gif>",
     {{305, "IMG src=/track/1.gif", "\"tracker\""}}},
    {{305},
     "<script src=/ads/1.js> x </script>.<script src=b.js></script>",
     ".<script src=b.js></script>",
     {{305, "SCRIPT src=/ads/1.js", ADS_FOLDER}}},
    {{300, 305},
     "<script src=/ads/1.js></script>.",
     ".",
     {BLOCKED_SCRIPT, {305, "SCRIPT src=/ads/1.js", ADS_FOLDER}}},
    {{304},
     "<a href=/ads/1>x</a><img src=/ads/2><form action=/ads/3></form>",
     "<a href=/ads/1>x</a><img src=/ads/2><form action=/ads/3></form>",
     {}},
    // The first hit names the item; the reason is that of the last answer of 1.
    {{305},
     "<applet archive=/ads/3 code=/track/2 codebase=/ads/1></applet>.",
     ".",
     {{305, "APPLET codebase=/ads/1", ADS_FOLDER}}},
    {{305},
     "<applet codebase=/c code=/ads/2 archive=/track/3></applet>.",
     ".",
     {{305, "APPLET code=/ads/2", "\"tracker\""}}},
    {{305},
     "<object codebase=/track/2 data=maybe></object>.",
     ".",
     {{305, "OBJECT data=maybe", "\"tracker\""}}},
    // An answer other than 1 counts, without a reason.
    {{305}, "<img src=maybe.gif>.", ".", {{305, "IMG src=maybe.gif", "\"\""}}},
    // An exempt address keeps the element, whatever came before, and whatever its size.
    {{304, 305},
     "<applet codebase=/ads/1 archive=/allowed/2 width=468 height=60></applet>",
     "<applet codebase=/ads/1 archive=/allowed/2 width=468 height=60></applet>",
     {}},
    {{304, 305},
     "<img src=/allowed/ads/1 width=468 height=60>",
     "<img src=/allowed/ads/1 width=468 height=60>",
     {}},
    // The movie of an OBJECT.
    {{305},
     "<object><param name=\"Movie\" value=\"/ads/1\">x</object>.",
     ".",
     {{305, "OBJECT PARAM movie \"/ads/1\"", ADS_FOLDER}}},
    {{305},
     "<object data=/ads/0><param name=movie value=/ads/1></object>.",
     ".",
     {{305, "OBJECT data=/ads/0", ADS_FOLDER}, {305, "OBJECT PARAM movie /ads/1", ADS_FOLDER}}},
    {{305},
     "<object><param name=movie value=/allowed/ads/1><param name=src value=/ads/1></object>",
     "<object><param name=movie value=/allowed/ads/1><param name=src value=/ads/1></object>",
     {}},
    {{305},
     "<applet><param name=movie value=/ads/1></applet><param name=movie value=/ads/1>",
     "<applet><param name=movie value=/ads/1></applet><param name=movie value=/ads/1>",
     {}},
};

const PageCase ADS_BY_SIZE[] = {
    {{304},
     "<img src=/ads/1 width=\"468\" height=60px>.",
     ".",
     {{304, "IMG src=/ads/1", "width=468 height=60"}}},
    {{304},
     "<iframe height=' 600' width=+120></iframe>.",
     ".",
     {{304, "IFRAME src=", "width=120 height=600"}}},
    {{304},
     "<applet code=x width=468 height=60></applet>.",
     ".",
     {{304, "APPLET", "width=468 height=60"}}},
    {{304},
     "<embed src=x width=468 height=60></embed>.",
     ".",
     {{304, "EMBED", "width=468 height=60"}}},
    {{304},
     "<object data=x width=468 height=60></object>.",
     ".",
     {{304, "OBJECT", "width=468 height=60"}}},
    {{304},
     "<img width=468><iframe height=60></iframe><img width=468 height=-60>",
     "<img width=468><iframe height=60></iframe><img width=468 height=-60>",
     {}},
    {{305}, "<img src=x width=468 height=60>", "<img src=x width=468 height=60>", {}},
    // By address first, and once.
    {{304, 305},
     "<img src=/ads/1 width=468 height=60><img src=x width=468 height=60>.",
     ".",
     {{305, "IMG src=/ads/1", ADS_FOLDER}, {304, "IMG src=x", "width=468 height=60"}}},
};

/// Not closed before the page is.
const PageCase OPEN_TO_THE_END[] = {
    {{301}, "a<applet>b<i>c", "a", {BLOCKED_APPLET}},
    {{305}, "a<form action=/ads/1>b</p>c", "a", {{305, "FORM action=/ads/1", ADS_FOLDER}}},
    {{305},
     "a<object>b<param name=movie value=/ads/1>c",
     "a",
     {{305, "OBJECT PARAM movie /ads/1", ADS_FOLDER}}},
    {{300}, "a<script>b<c", "a", {BLOCKED_SCRIPT}},
    // Without a "<" behind it, the tag is met once more at the end of the page.
    {{300}, "a<script>b", "a", {BLOCKED_SCRIPT, BLOCKED_SCRIPT}},
};

const std::pair<const char *, std::span<const PageCase>> TABLES[] = {
    {"active content", ACTIVE_CONTENT},
    {"Flash", FLASH},
    {"ads by address", ADS_BY_ADDRESS},
    {"ads by size", ADS_BY_SIZE},
};

TEST(Pages, LoseWhatTheirCategoriesName) {
  for (const auto &[name, table] : TABLES) {
    SCOPED_TRACE(name);
    for (const PageCase &c : table) ExpectPage(c);
  }
}

TEST(Pages, LoseElementsThatAreNeverClosed) {
  for (const PageCase &c : OPEN_TO_THE_END) ExpectPage(c);
}

TEST(Pages, OfThousandsOfElementsAreTreatedAlike) {
  constexpr std::size_t COPIES = 3000;
  constexpr std::size_t PIECE = 4096;
  for (const auto &[name, table] : TABLES) {
    for (const PageCase &c : table) {
      SCOPED_TRACE(c.page);
      std::string page;
      std::string expected;
      for (std::size_t i = 0; i < COPIES; ++i) {
        page += c.page;
        expected += c.expected;
      }
      std::vector<std::string_view> pieces;
      for (std::string_view rest = page; !rest.empty();
           rest.remove_prefix(std::min(PIECE, rest.size()))) {
        pieces.push_back(rest.substr(0, PIECE));
      }
      FilterRun run(c.categories);
      ASSERT_EQ(Feed(*run.MakeHandler(), pieces), expected);
      ASSERT_EQ(run.context.reports.size(), COPIES * c.reports.size());
    }
  }
}

TEST(Pages, OfThousandsOfNestedElementsAreTreatedAlike) {
  std::string page = "a";
  for (int i = 0; i < 3000; ++i) page += "<applet><iframe src=/ads/1>";
  FilterRun run({300, 301, 302, 303, 304, 305, 306, 307, 308});
  EXPECT_EQ(run.Page({page + "<script>x</script>"}).substr(0, 3), "a\n<");
  EXPECT_EQ(run.context.reports.size(), 6001U);
}

TEST(Pages, PassWholeWithoutALibrary) {
  FilterRun run({304, 305});
  const AdBlocking unbound;
  const CountedPointer<IDataProcessor> handler(
      new CDataHTML2([&](IDataContext &context, HandlerList &handlers) {
        AppendFilters(handlers, context, run.names, unbound, run.makers);
      }));
  handler->SetContext(&run.context);
  constexpr std::string_view PAGE =
      "<a href=/ads/1>x</a><img src=/ads/2 width=468 height=60><object data=/ads/3></object>";
  EXPECT_EQ(FeedTight(*handler, {PAGE}), PAGE);
  EXPECT_TRUE(run.context.reports.empty());
}

// Elements remember places that an earlier edit of the same tag has moved. What then happens is
// kept, and never leaves the held bytes.
TEST(Pages, AreDamagedWhereAnEditMovesWhatALaterOneNames) {
  const struct {
    std::set<std::int32_t> categories;
    std::string_view page;
    std::string expected;
  } cases[] = {
      // A tag that lost an attribute is removed at its old length, as far as the page goes.
      {{300, 305}, "<img src=/ads/1 onclick=a>0123456789rest", "9rest"},
      {{300, 305}, "<img src=/ads/1 onclick=a>01234", ""},
      // One that grew leaves its last bytes behind.
      {{305, 307},
       "<img src=/ads/1 onload=a>b",
       "ar ZulTmpWinOpen = window.open; window.open = ZulWinOpen; a; "
       "window.open = ZulTmpWinOpen;\">b"},
      // Of two attributes of one name the later one is written at its old place.
      {{300},
       "<a href=javascript:x href=\"javascript:longer\">0123456789rest</a>",
       "<a href=\"\" href=\"javascrip\"\"9rest</a>"},
      {{300},
       "<a href=javascript:x href=\"javascript:longer\">0",
       "<a href=\"\" href=\"javascrip\"\""},
      // A start tag that is met again at the end of the page has lost its place.
      {{300}, "<p>text<style onload=x>a", "<p>tex>a"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.page);
    FilterRun run(c.categories);
    EXPECT_EQ(run.Page({c.page}), c.expected);
    // However it is cut, no edit steps outside.
    for (std::size_t cut = 1; cut < c.page.size(); ++cut) {
      run.Page(CutAt(c.page, cut));
    }
  }
}

}  // namespace
}  // namespace velmora::testing
