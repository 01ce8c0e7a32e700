// What the host may send on after each call, wherever the page stands in its buffer.

#include "filter/filter_page.h"
#include "support/log_recorder.h"

namespace velmora::testing {
namespace {

struct CommitCase {
  const char *what;
  std::set<std::int32_t> categories;
  std::vector<std::string_view> pieces;
  /// After each piece; what is left at the end goes on too.
  std::vector<std::string> sent;
};

const CommitCase CASES[] = {
    {"a tag, until the character after it",
     {},
     {"ab<b cl", "ass=d>", "e"},
     {"ab", "", "<b class=d>e"}},
    {"links are not held", {305}, {"ab<a href=x>c", "d</a>e"}, {"ab<a href=x>c", "d</a>e"}},
    {"what goes at its end is", {301}, {"ab<applet>c", "d</applet>", "e"}, {"ab", "", "e"}},
    {"... and all around it, to the outermost end",
     {301},
     {"ab<applet>c<applet>d", "</applet>e", "</applet>f", "g"},
     {"ab", "", "f", "g"}},
    {"... which closes what is open inside",
     {301},
     {"ab<i><applet>c", "<applet></i>d", "e"},
     {"ab<i>", "</i>d", "e"}},
    {"an OBJECT, for the movies in it, and to the end of the page",
     {305},
     {"ab<object>c<param name=a>d", "e</object>f", "g"},
     {"ab", "", "<object>c<param name=a>de</object>fg"}},
    {"... not when URLs are not looked at",
     {304},
     {"ab<object>c", "e</object>f"},
     {"ab<object>c", "e</object>f"}},
    {"a script, until its end",
     {},
     {"ab<script>c", "d", "</script>e"},
     {"ab", "", "<script>cd</script>e"}},
    {"an image goes at once, a held element around it or not",
     {301, 305},
     {"ab<img src=/ads/1>c", "<applet><img src=/ads/2>d", "</applet>e<img src=/ads/3>f"},
     {"abc", "", "ef"}},
    {"an element that is never closed, to the end of the page",
     {301},
     {"ab<applet>c", "d"},
     {"ab", ""}},
    {"edits of a held page leave the places of what is inside right",
     {300, 305, 307},
     {"ab<object onclick=x><p onclick=y>c", "<img onload=z><img src=/ads/1>d</object>e", "f"},
     {"ab", "", "<object ><p >c<img >d</object>ef"}},
};

TEST(Commits, AfterEachCallWhereverThePageStands) {
  for (const CommitCase &c : CASES) {
    for (const bool is_logged : {false, true}) {
      std::optional<LogRecorder> log;
      if (is_logged) log.emplace();
      for (const auto &[before, behind] : PLACES) {
        FilterRun run(c.categories);
        EXPECT_EQ(SentAfterEachCall(*run.MakeHandler(), c.pieces, before, behind), c.sent)
            << c.what << " [" << before << "] [" << behind << "]" << is_logged;
      }
    }
  }
}

/// A host that presents less than was left to it: reading goes on where that ends, and what lies
/// after the call's bytes is not the page's.
TEST(Commits, AHostMayLoseWhatWasHeld) {
  for (const std::uint32_t kept : {0, 1, 5, 12}) {
    FilterRun run({301, 305});
    const auto handler = run.MakeHandler();
    TightBuffer first;
    first.Append("ab<applet>cdefgh<img src=x");
    handler->ProcessData(&first, 0, first.GetSize(), DATA_FLAG_START);
    EXPECT_EQ(first.TakeCommitted(), "ab");
    TightBuffer second;
    second.Append(std::string(first.Held().substr(0, kept)) + std::string(40, '>'));
    handler->ProcessData(&second, 0, kept, 0);
    EXPECT_EQ(second.GetCommitted(), 0U) << kept;
    EXPECT_TRUE(run.library.calls.empty()) << kept;
    TightBuffer third;
    third.Append(std::string(first.Held().substr(0, kept)) + "y></applet>g");
    handler->ProcessData(&third, 0, third.GetSize(), DATA_FLAG_END);
    EXPECT_EQ(third.TakeCommitted(), "g") << kept;
    const std::string asked = "CheckUrl www.example.com [http://www.example.com/dir/xy]";
    EXPECT_EQ(run.library.calls, std::vector{asked}) << kept;
  }
}

}  // namespace
}  // namespace velmora::testing
