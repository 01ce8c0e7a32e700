// The fast path reads every page as the plain one does: whatever a host, a handler, the ad-blocking
// library or a reader of the log can see is the same.
#include "filter/two_paths.h"

#include <array>
#include <gtest/gtest.h>
#include <random>

#include "support/body_pieces.h"

namespace velmora::testing {
namespace {

using namespace std::string_literals;

void ExpectSame(const TwoPathsCase &c) {
  const Seen plain = RunPath(c, false);
  const Seen fast = RunPath(c, true);
  if (fast == plain) return;
  std::string pieces;
  for (const std::string &piece : c.pieces) pieces += ::testing::PrintToString(piece) + ", ";
  SCOPED_TRACE(c.charset + (c.has_library ? "" : ", no library") + (c.is_logged ? ", logged" : "") +
               (c.is_watched ? ", watched" : "") + ": " + pieces);
  EXPECT_EQ(fast.sent, plain.sent);
  EXPECT_EQ(fast.reports, plain.reports);
  EXPECT_EQ(fast.asked, plain.asked);
  EXPECT_EQ(fast.calls, plain.calls);
  EXPECT_EQ(fast.log, plain.log);
}

/// Everything that decides how a tag is cut: short, so that each is cut before every byte.
const std::string SHORT_PAGES[] = {
    "ab<p class=x>text</p>c",
    "<a href='x' title=\"y>z\">l</a> <a href=u>m</a>t",
    "<a title=x\"y>z\">l<a b = c d>m</a >n",
    "<b a='\\'' c=\"\\\\\">x</b><<b><br/><//p></>",
    "<!doctype html><!-- c -- d --><!- x><!--><!---->e",
    "<script>if (a<b) x='</p>';</scripT>z<style>a<!</style >b</style>c",
    "<script src=/ads/x></script><script>a</script",
    "<style>x",
    "<style></style>y<p",
    "<p a=b=c d==e f=\"g\"h i='j'=k l>m</p>",
    "<p\t a\n=\r'b'\f>\v<p/a=b/>c</p.q-r7></p.Q-R7>",
    "<img src=/ads/x><img onload=f() src=y.gif width=468 height=60>z",
    "<object data=/ads/x><param name=movie value=/ads/y></object>z",
    "<div><span><i></div></i>x<html><body onload='f()'>",
    "<base href='http://h.example/d/'><a href=e>f</a><form action=/ads/>g</form>",
    "<meta http-equiv=content-type content='text/html; charset=utf-8'>\xC3\xA9<p>\xC3",
    "<p a='\xC3\xA9' \xC3\xA9=b>\xC3\xA9<\xC3\xA9></p\xC3\xA9>\xE2\x82<b>\xFF<i>",
    "<a href=\"x\xE9y\">\xE9\xE9\xE9</a>\xE9\xE9\xE9\xE9\xE9\xE9\xE9\xE9\xE9\xE9<b",
    "<averyveryverylongname a=b>x</averyveryverylongname><abcdefghijklmno>y</abcdefghijklmno>z",
    "<p " + std::string(40, 'a') + "='" + std::string(40, 'b') + "'>" + std::string(80, 'c') +
        "</p>",
    "<a href=\"javascript:f()\">x</a><a href=\"u\" alt=\"j:\">y</a><a "
    "title=\"\xC3\xA9javascript:\">z</a>",
    "<p a=\"b>c\" d=\"'\"><p a=b=\"c>d\"><p a= \"b>c\"><p a \"b>c\"><p a==\"b>c\"><p "
    "a=\"b\"\"c>d\"><p \"a>b\">e",
    "<p a=\"on\" on=\"b\"><p a=\"b\"on=c><p button=\"b\"><p\non><img ONLOAD=\"f()\" src=\"x\"><img "
    "alt=\"\">y</img>",
    "<p><br><img src=x>a</p><ul><li>b<li>c<li>d<li>e<li>f<li>g</ul>h</ul><div><a><br></div>",
    "<p title=\"" + std::string(40, 'o') + "\" " + std::string(20, 'n') + "=\"=\" c=\"\\\">d",
    "<a\0b=\0c>\0</a\0>"s,
};

TEST(TwoPaths, EveryCutOfShortPages) {
  for (const char *charset : USUAL_SETS) {
    for (const std::string &page : SHORT_PAGES) {
      for (std::size_t cut = 0; cut <= page.size(); ++cut) {
        TwoPathsCase c{charset, {page.substr(0, cut), page.substr(cut)}};
        if (cut == 0) c.pieces = {page};
        if (cut == page.size()) c.pieces = InPieces(page, 1);
        // Something follows that is long enough for the fast path to look at what was cut.
        if (cut % 2 == 0) c.pieces.back() += "<i>" + std::string(100, '.') + "</i>" + page;
        for (unsigned way = 0; way < 4; ++way) {
          c.is_logged = (way & 1U) != 0;
          c.is_watched = (way & 2U) != 0;
          c.has_library = cut % 3 != 0;
          c.categories = CATEGORY_SETS[(cut + way) % std::size(CATEGORY_SETS)];
          ExpectSame(c);
          if (HasFailure()) return;
        }
      }
    }
  }
}

class RandomPages {
 public:
  explicit RandomPages(unsigned seed) : random_(seed) {}

  unsigned Below(std::size_t bound) { return static_cast<unsigned>(random_() % bound); }

  /// A page in `charset`, half of it written in that set, half as raw bytes.
  std::string Page(const std::string &charset) {
    std::string page;
    const unsigned count = 1 + Below(40);
    for (unsigned i = 0; i < count; ++i) {
      const std::string &piece = PAGE_PIECES[Below(std::size(PAGE_PIECES))];
      page += Below(4) == 0 ? piece : CEncoding(charset).Encode(piece);
    }
    return page;
  }

  TwoPathsCase Case(const std::string &charset) {
    const std::string page = Page(charset);
    TwoPathsCase c{charset, {page}};
    if (Below(2) == 0) c.pieces = InPieces(page, 1 + Below(page.size() + 1));
    c.categories = CATEGORY_SETS[Below(std::size(CATEGORY_SETS))];
    c.has_library = Below(2) == 0;
    c.is_logged = Below(2) == 0;
    c.is_dumped = c.is_logged && Below(4) == 0;
    c.is_watched = Below(3) == 0;
    static constexpr std::array NAMES{"A", "P", "B", "DIV", "SPAN", "SCRIPT", "I", "META", "STYLE"};
    for (unsigned i = Below(3); i > 0; --i) {
      c.edits.emplace_back(NAMES[Below(NAMES.size())], 1U << Below(10) | 1U << Below(10));
    }
    return c;
  }

 private:
  std::mt19937 random_;
};

TEST(TwoPaths, RandomPagesInEverySet) {
  RandomPages random(1);
  for (const std::string &charset : AllSets()) {
    for (int i = 0; i < 12; ++i) {
      ExpectSame(random.Case(charset));
      if (HasFailure()) return;
    }
  }
}

TEST(TwoPaths, RandomPagesInUsualSets) {
  RandomPages random(2);
  for (int i = 0; i < 10000; ++i) {
    ExpectSame(random.Case(USUAL_SETS[random.Below(std::size(USUAL_SETS))]));
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace velmora::testing
