// Pages through the filters, by what each category does to them.

#include "filter/filter_page.h"

namespace velmora::testing {
namespace {

const Report BLOCKED_SCRIPT{300, "(Script)", ""};
const Report BLOCKED_APPLET{301, "(Applet)", ""};
const Report BLOCKED_CONTROL{302, "(ActiveX)", ""};
constexpr char FLASH_TYPE[] = "\"application/x-shockwave-flash\"";
constexpr char FLASH_CLASS[] = "\"D27CDB6E-AE6D-11CF-96B8-444553540000\"";

Report Ad(std::string item, std::string reason = "\"ads folder\"") {
  return {305, std::move(item), std::move(reason)};
}
Report SizedAd(std::string item, std::string size = "width=468 height=60") {
  return {304, std::move(item), std::move(size)};
}

const PageCase CASES[] = {
    // Event attributes, of every element, in any letter case; what is not in the set stays.
    {{300},
     "<p onclick=\"a()\" id=x ONLOAD=b()>t</p>",
     "<p  id=x >t</p>",
     {{300, "onclick=\"a()\"", ""}, {300, "onload=b()", ""}}},
    {{300}, "<b onabort='2'>", "<b >", {{300, "onabort='2'", ""}}},
    {{300}, "<b ondatasetcomplete=1>", "<b >", {{300, "ondatasetcomplete=1", ""}}},
    Kept({300}, "<b onpaste=3 on=4 onloadx=5 onloa=6 xonload=7>"),
    {{300},
     "<i onclick>t</i><i onclick=>t</i>",
     "<i >t</i><i =>t</i>",
     {{300, "onclick=", ""}, {300, "onclick=", ""}}},
    // Links that run a script.
    {{300},
     "<a href=\" JavaScript:x()\">l</a><area href=see.javascript:y>",
     "<a href=\"\">l</a><area href=\"\">",
     {{300, "\" JavaScript:x()\"", ""}, {300, "see.javascript:y", ""}}},
    Kept({300}, "<a href=java.html>l</a><link href='javascript:x'>"),
    {{300},
     "<a onclick=x class=c href='javascript:y' id=i>l</a>",
     "<a  class=c href=\"\" id=i>l</a>",
     {{300, "onclick=x", ""}, {300, "'javascript:y'", ""}}},
    Kept({301, 302}, "<a href=javascript:x onclick=y>l</a>"),
    // Whole elements.
    {{300},
     "a<script>if (1<2) '</b>';</SCRIPT>b<script src=x></script>c",
     "abc",
     {BLOCKED_SCRIPT, BLOCKED_SCRIPT}},
    {{301}, "<applet code=x><param name=a>no <b>Java</b></applet>.", ".", {BLOCKED_APPLET}},
    {{302}, "<object data=x><embed src=y></embed></object>.", ".", {BLOCKED_CONTROL}},
    {{301}, "a<applet>b<applet>c</applet>d</applet>e", "ae", {BLOCKED_APPLET, BLOCKED_APPLET}},
    {{301, 302}, "<object><applet></applet>t</object>.", ".", {BLOCKED_CONTROL, BLOCKED_APPLET}},
    Kept({}, "<applet></applet><object></object><script></script>"),
    // Closed by an outer end tag.
    {{301}, "a<div><applet>b<i>c</div>d", "a<div></div>d", {BLOCKED_APPLET}},

    // Flash, by the exact type or class.
    {{303},
     "<embed type='APPLICATION/X-Shockwave-Flash' src=m>no Flash</embed>.",
     ".",
     {{303, "EMBED type='APPLICATION/X-Shockwave-Flash'", FLASH_TYPE}}},
    Kept({303}, "<embed type=\" application/x-shockwave-flash\"></embed><embed src=m.swf></embed>"),
    {{303},
     "<object classid=\"clsid:{d27cdb6e-ae6d-11cf-96b8-444553540000}\">t</object>.",
     ".",
     {{303, "OBJECT classid=\"clsid:{d27cdb6e-ae6d-11cf-96b8-444553540000}\"", FLASH_CLASS}}},
    Kept({303}, "<object><param name=movie value=m.swf></object>"),
    {{302, 303},
     "<object classid=D27CDB6E-AE6D-11CF-96B8-444553540000></object>.",
     ".",
     {BLOCKED_CONTROL, {303, "OBJECT classid=D27CDB6E-AE6D-11CF-96B8-444553540000", FLASH_CLASS}}},
    // Flash is not looked at as an advertisement.
    {{303, 304, 305},
     "<embed type=application/x-shockwave-flash src=/ads/m width=468 height=60></embed>.",
     ".",
     {{303, "EMBED type=application/x-shockwave-flash", FLASH_TYPE}}},

    // Advertisements by their URL.
    {{305}, "<a class=c href=\"/ads/1\">x<b>y</b></a>.", ".", {Ad("A href=\"/ads/1\"")}},
    {{305}, "<iframe src=/ads/1>x</iframe>.", ".", {Ad("IFRAME src=/ads/1")}},
    {{305}, "<embed src=/ads/1></embed>.", ".", {Ad("EMBED src=/ads/1")}},
    {{305}, "<form action=' /ads/1 '><p>x</form>.", ".", {Ad("FORM action=' /ads/1 '")}},
    Kept({305}, "<form method=get action=/find>x</form>"),
    {{305},
     "a<img alt=x src=/track/1.gif>b<img src=c.gif>",
     "ab<img src=c.gif>",
     {Ad("IMG src=/track/1.gif", "\"tracker\"")}},
    {{305},
     "<script src=/ads/1.js> x </script>.<script src=b.js></script>",
     ".<script src=b.js></script>",
     {Ad("SCRIPT src=/ads/1.js")}},
    {{300, 305},
     "<script src=/ads/1.js></script>.",
     ".",
     {BLOCKED_SCRIPT, Ad("SCRIPT src=/ads/1.js")}},
    Kept({304}, "<a href=/ads/1>x</a><img src=/ads/2><form action=/ads/3></form>"),
    // The first hit names the item; the reason is that of the last answer of 1.
    {{305},
     "<applet archive=/ads/3 code=/track/2 codebase=/ads/1></applet>.",
     ".",
     {Ad("APPLET codebase=/ads/1")}},
    {{305},
     "<applet codebase=/c code=/ads/2 archive=/track/3></applet>.",
     ".",
     {Ad("APPLET code=/ads/2", "\"tracker\"")}},
    {{305},
     "<object codebase=/track/2 data=maybe></object>.",
     ".",
     {Ad("OBJECT data=maybe", "\"tracker\"")}},
    // An answer other than 1 counts, without a reason.
    {{305}, "<img src=maybe.gif>.", ".", {Ad("IMG src=maybe.gif", "\"\"")}},
    // An exempt URL keeps the element, whatever came before, and whatever its size.
    Kept({304, 305}, "<applet codebase=/ads/1 archive=/allowed/2 width=468 height=60></applet>"),
    Kept({304, 305}, "<img src=/allowed/ads/1 width=468 height=60>"),
    // The movie of an OBJECT.
    {{305},
     "<object><param name=\"Movie\" value=\"/ads/1\">x</object>.",
     ".",
     {Ad("OBJECT PARAM movie \"/ads/1\"")}},
    {{305},
     "<object data=/ads/0><param name=movie value=/ads/1></object>.",
     ".",
     {Ad("OBJECT data=/ads/0"), Ad("OBJECT PARAM movie /ads/1")}},
    Kept({305},
         "<object><param name=movie value=/allowed/ads/1><param name=src value=/ads/1></object>"),
    Kept({305}, "<applet><param name=movie value=/ads/1></applet><param name=movie value=/ads/1>"),

    // Advertisements by their size.
    {{304}, "<img src=/ads/1 width=\"468\" height=60px>.", ".", {SizedAd("IMG src=/ads/1")}},
    {{304},
     "<iframe height=' 600' width=+120></iframe>.",
     ".",
     {SizedAd("IFRAME src=", "width=120 height=600")}},
    {{304}, "<applet code=x width=468 height=60></applet>.", ".", {SizedAd("APPLET")}},
    {{304}, "<embed src=x width=468 height=60></embed>.", ".", {SizedAd("EMBED")}},
    {{304}, "<object data=x width=468 height=60></object>.", ".", {SizedAd("OBJECT")}},
    Kept({304}, "<img width=468><iframe height=60></iframe><img width=468 height=-60>"),
    Kept({305}, "<img src=x width=468 height=60>"),
    // By URL first, and once.
    {{304, 305},
     "<img src=/ads/1 width=468 height=60><img src=x width=468 height=60>.",
     ".",
     {Ad("IMG src=/ads/1"), SizedAd("IMG src=x")}},
};

TEST(Pages, LoseWhatTheirCategoriesName) {
  for (const PageCase &c : CASES) ExpectPage(c);
}

TEST(Pages, LoseElementsThatAreNeverClosed) {
  const PageCase cases[] = {
      {{301}, "a<applet>b<i>c", "a", {BLOCKED_APPLET}},
      {{305}, "a<form action=/ads/1>b</p>c", "a", {Ad("FORM action=/ads/1")}},
      {{305}, "a<object>b<param name=movie value=/ads/1>c", "a", {Ad("OBJECT PARAM movie /ads/1")}},
      {{300}, "a<script>b<c", "a", {BLOCKED_SCRIPT}},
      // Without a "<" after it, the tag is met once more at the end of the page.
      {{300}, "a<script>b", "a", {BLOCKED_SCRIPT, BLOCKED_SCRIPT}},
  };
  for (const PageCase &c : cases) ExpectPage(c);
}

TEST(Pages, OfThousandsOfElementsAreTreatedAlike) {
  constexpr std::size_t COPIES = 3000;
  constexpr std::size_t PIECE = 4096;
  for (const PageCase &c : CASES) {
    SCOPED_TRACE(c.page);
    std::string page;
    std::string expected;
    for (std::size_t i = 0; i < COPIES; ++i) {
      page += c.page;
      expected += c.expected;
    }
    std::vector<std::string_view> pieces;
    for (std::size_t at = 0; at < page.size(); at += PIECE) {
      pieces.push_back(std::string_view(page).substr(at, PIECE));
    }
    FilterRun run(c.categories);
    ASSERT_EQ(Feed(*run.MakeHandler(), pieces), expected);
    ASSERT_EQ(run.context.reports.size(), COPIES * c.reports.size());
  }
}

TEST(Pages, OfThousandsOfNestedElementsAreTreatedAlike) {
  std::string page = "a";
  for (int i = 0; i < 3000; ++i) page += "<applet><iframe src=/ads/1>";
  FilterRun run({300, 301, 302, 303, 304, 305, 306, 307, 308});
  EXPECT_EQ(run.Page({page + "<script>x</script>"}).substr(0, 3), "a\n<");
  EXPECT_EQ(run.context.reports.size(), 6001U);
}

// Elements remember places that an earlier edit of the same tag has moved. What then happens is
// kept, and never leaves the held bytes.
TEST(Pages, AreDamagedWhereAnEditMovesWhatALaterOneNames) {
  const std::tuple<std::set<std::int32_t>, std::string_view, std::string> cases[] = {
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
  for (const auto &[categories, page, expected] : cases) {
    SCOPED_TRACE(page);
    FilterRun run(categories);
    EXPECT_EQ(run.Page({page}), expected);
    // However it is cut, no edit steps outside.
    for (std::size_t cut = 1; cut < page.size(); ++cut) {
      run.Page(CutAt(page, cut));
    }
  }
}

}  // namespace
}  // namespace velmora::testing
