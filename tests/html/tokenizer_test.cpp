#include <gtest/gtest.h>
#include <random>
#include <sstream>

#include "html/charset.h"
#include "support/charsets.h"
#include "support/html_page.h"
#include "support/log_recorder.h"
#include "support/tight_buffer.h"

namespace velmora {
namespace {

using namespace testing;
using namespace std::string_view_literals;

/// Records elements as they open and close: "+A(P) -A". Every element asks for its end.
class Events {
 public:
  FilterMaker Recorder(std::uint32_t flags = ELEMENT_NEED_END) {
    return Filter(
        [this, flags](CHTMLElement &element) {
          text_ += " +" + element.GetName();
          if (element.GetParent() != nullptr) text_ += '(' + element.GetParent()->GetName() + ')';
          element.SetFlags(flags);
          return 0;
        },
        [this](CHTMLElement &element) {
          text_ += " -" + element.GetName();
          return 0;
        });
  }
  const std::string &text() const { return text_; }

 private:
  std::string text_;
};

struct PageCase {
  std::string_view page;
  const char *events;
  const char *log = "";
};

const PageCase PAGE_CASES[] = {
    {"<p>a<b>c</b>d</p>", " +P +B(P) -B -P"},
    {"<P><b>x</p>y</b>", " +P +B(P) -B -P",
     "*** UNCLOSED ELEMENT: B\n*** ROW 1 COL 12\n* unmatched end tag: B\n* row 1 col 17\n"},
    {"<p>text", " +P -P", "* unclosed element P\n"},
    {"<p>", " +P -P", "* unclosed element P\n"},
    {"<p", ""},
    {"<p ", " +P -P", "* unclosed element P\n"},
    {"</b>", "", "* unmatched end tag: B\n* row 1 col 5\n"},
    {"<b<a href=x>", " +B +A(B) -A -B",
     "*** UNCLOSED TAG: B\n*** ROW 1 COL 3\n* unclosed element A\n* unclosed element B\n"},
    {"<<b>", " +B -B", "*** UNCLOSED TAG: \n*** ROW 1 COL 2\n* unclosed element B\n"},
    {"<!DOCTYPE html><p></p>", " +P -P"},
    {"< p>< /p>", ""},
    {"<3>", ""},
    {"<h1.a-b:c></h1.a-b:c>", " +H1.A-B -H1.A-B"},
    {"<!-- <p> -- <i> --><b></b>", " +B -B"},
    {"<!--><b>--><i></i>", " +I -I"},
    {"<!---><b></b>", ""},
    {"<!-a><b></b>", " +B -B"},
    {"<!-- a ---><b></b>", " +B -B"},
    {"<a title=x\"y>z\">", " +A -A",
     "*** '>' in quoted portion of unquoted attribute value; AUTOCLOSING\n"
     "*** ROW 1 COL 13\n* unclosed element A\n"},
    {"<a b='>'><c></c></a>", " +A +C(A) -C -A"},
    {"<a b='\\'>'></a>", " +A -A"},
    {"<script>if (a<b) x='</p>';</scr></SCRIPT ></Script>t", " +SCRIPT -SCRIPT"},
    {"<style><p></style><p></p>", " +STYLE -STYLE +P -P"},
    {"<script></script", " +SCRIPT -SCRIPT", "* unclosed element SCRIPT\n"},
    {"<script>a<b", " +SCRIPT -SCRIPT", "* unclosed element SCRIPT\n"},
    // Without a "<" since its start tag, the end of the body dispatches the tag once more.
    {"<script>ab", " +SCRIPT +SCRIPT(SCRIPT) -SCRIPT -SCRIPT",
     "* unclosed element SCRIPT\n* unclosed element SCRIPT\n"},
    {"<script <b></script>", " +SCRIPT +B(SCRIPT) -B -SCRIPT",
     "*** UNCLOSED TAG: SCRIPT\n*** ROW 1 COL 9\n*** UNCLOSED ELEMENT: B\n*** ROW 1 COL 21\n"},
    {"<\xE9t\xE9 a>", " +\xC3\xA9T\xC3\xA9 -\xC3\xA9T\xC3\xA9",
     "* unclosed element \xC3\xA9T\xC3\xA9\n"},
    {"a\rb</x>", "", "* unmatched end tag: X\n* row 1 col 7\n"},
    {"a\r\nb\n</x>", "", "* unmatched end tag: X\n* row 3 col 5\n"},
    {"<p>a</p\n>", " +P -P"},
    {"a", ""},
    {"", ""},
    {"<", ""},
};

/// Whole and however it is cut, by the table alone and with what runs ahead of it.
TEST(Tokenizer, ElementsAndTraceLines) {
  for (const PageCase &c : PAGE_CASES) {
    for (std::size_t cut = 0; cut <= c.page.size(); ++cut) {
      const FastPathOff path(cut % 2 == 0);
      const LogRecorder log;
      FakeContext context;
      Events events;
      EXPECT_EQ(RunPage(context, CutAt(c.page, cut), events.Recorder()), c.page);
      EXPECT_EQ(events.text(), c.events) << c.page << " cut at " << cut;
      EXPECT_EQ(LogRecorder::Text(), c.log) << c.page << " cut at " << cut;
    }
  }
}

/// The same page in several character sets, a byte at a time.
TEST(Tokenizer, CharacterSetsOneByteAtATime) {
  const char *const page = "<p t='\xE3\x81\x82\xE8\xA1\xA8'>\xE8\xA1\xA8<b></p>\xE3\x82\xBD";
  for (const char *set : {"UTF-8", "SHIFT_JIS", "EUC-JP", "ISO-2022-JP", "UTF-16LE", "UTF-16BE"}) {
    const std::string bytes = CEncoding(set).Encode(page);
    FakeContext context;
    context.content_type = std::string("text/html; charset=") + set;
    context.settings[SETTING_DUMP_HTML_ELEMENTS] = "true";
    std::vector<std::string_view> pieces;
    for (std::size_t i = 0; i < bytes.size(); ++i)
      pieces.push_back(std::string_view(bytes).substr(i, 1));
    Events events;
    const LogRecorder log;
    EXPECT_EQ(RunPage(context, pieces, events.Recorder()), bytes) << set;
    EXPECT_EQ(events.text(), " +P +B(P) -B -P") << set;
    EXPECT_NE(LogRecorder::Text().find("ELEMENT: P t='\xE3\x81\x82\xE8\xA1\xA8'\n"),
              std::string::npos)
        << set << ": " << LogRecorder::Text();
  }
}

/// A tag never begins at the shift sequence before it: what goes with an element is its own, and
/// the text after is in the letters that it was in. However the page is cut, after a shift
/// sequence or inside the character that follows it.
TEST(Tokenizer, ShiftSequencesAreStepsOfTheirOwn) {
  struct Case {
    const char *set;
    std::string_view page, expected;
  };
  const Case cases[] = {
      {"ISO-2022-JP", "\x1B$B0l\x1B(B<x>\x1B$B0l\x1B(B</x>a<y>b", "\x1B$B0l\x1B(Ba<y>b"},
      {"ISO-2022-JP-2", "\x1B$A0l\x1B(B<x></x>a\x1B$A0l\x1B(B<y>",
       "\x1B$A0l\x1B("
       "Ba\x1B$A0l\x1B(B<y>"},
      {"ISO-2022-KR", "\x1B$)C\x0E\x30\x21\x0F<x>c</x><y>", "\x1B$)C\x0E\x30\x21\x0F<y>"},
      {"HZ", "~{VP~}<x>~{VP~}</x>a~{VP~}<y>", "~{VP~}a~{VP~}<y>"},
      {"UTF-7", "ab+ZeU-<x>+ZeU-</x>c<y>", "ab+ZeU-c<y>"},
      {"UTF-16", "\xFE\xFF\0<\0x\0>\0<\0/\0x\0>\0c\0<\0y\0>"sv, "\xFE\xFF\0c\0<\0y\0>"sv},
  };
  for (const Case &c : cases) {
    for (std::size_t cut = 0; cut < c.page.size(); ++cut) {
      FakeContext context;
      context.content_type = std::string("text/html; charset=") + c.set;
      std::string names;
      EXPECT_EQ(RunPage(context, CutAt(c.page, cut), Filter([&](CHTMLElement &element) {
                          names += element.GetName();
                          if (element.name() == "X") element.SetFlags(ELEMENT_REMOVAL);
                          return 0;
                        })),
                c.expected)
          << c.set << " cut at " << cut;
      EXPECT_EQ(names, "XY") << c.set << " cut at " << cut;
    }
  }
}

/// What is committed after each of several calls.
struct CommitCase {
  const char *what;
  std::vector<std::string_view> pieces;
  std::vector<std::string> sent;
  std::uint32_t flags = 0;
};

TEST(Tokenizer, EndTagsFindTheirElementHoweverManyAreOpen) {
  for (const int depth : {0, 253, 254, 255, 256, 257, 1000}) {
    std::string page = "<q>";
    std::string closed = "B";
    for (int i = 0; i < depth; ++i) {
      page += "<p>";
      closed += "P";
    }
    page += "<b></x></b></b></q></p>";
    closed += "Q";
    FakeContext context;
    std::string ends;
    const LogRecorder log;
    EXPECT_EQ(RunPage(context, {page},
                      Filter(
                          [](CHTMLElement &element) {
                            element.SetFlags(ELEMENT_NEED_END);
                            return 0;
                          },
                          [&ends](CHTMLElement &element) {
                            ends += element.GetName();
                            return 0;
                          })),
              page);
    EXPECT_EQ(ends, closed) << depth;
    std::string unmatched;
    std::istringstream lines(LogRecorder::Text());
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("* unmatched end tag: ")) unmatched += line.back();
    }
    EXPECT_EQ(unmatched, "XBP") << depth;
  }
}

TEST(Tokenizer, OutputIsHeldBack) {
  const CommitCase cases[] = {
      {"from \"<\" until the tag is complete", {"ab<scr", "ipt>x"}, {"ab", "<script>x"}},
      {"the first character until the second has come", {"a", "b", "c"}, {"", "ab", "c"}},
      {"a complete tag until the character after it", {"ab<p>", "c"}, {"ab", "<p>c"}},
      {"comments", {"ab<!-- x", "--", "> d"}, {"ab", "", "<!-- x--> d"}},
      {"raw text only from its \"<\"",
       {"<script>ab", "<", "/x", "y"},
       {"<script>ab", "", "</x", "y"}},
      {"an element that may be removed",
       {"<p>ab", "cd</p", ">e"},
       {"", "", "<p>abcd</p>e"},
       ELEMENT_HOLD | ELEMENT_NEED_END},
      {"an element with a hold alone, to the end of the body",
       {"<p>ab</p>c", "d", "e"},
       {"", "", "<p>ab</p>cde"},
       ELEMENT_HOLD},
  };
  for (const CommitCase &c : cases) {
    FakeContext context;
    const CountedPointer<IDataProcessor> handler(new CDataHTML2(Filter([&](CHTMLElement &element) {
      element.SetFlags(c.flags);
      return 0;
    })));
    handler->SetContext(&context);
    EXPECT_EQ(SentAfterEachCall(*handler, c.pieces), c.sent) << c.what;
  }
}

TEST(Tokenizer, IncompleteCharacterAtTheEndIsLeftToTheHost) {
  FakeContext context;
  context.content_type = "text/html; charset=utf-8";
  const CountedPointer<IDataProcessor> handler(new CDataHTML2({}));
  handler->SetContext(&context);
  FakeBuffer buffer("abc\xE2\x82");
  handler->ProcessData(&buffer, 0, 5, DATA_FLAG_START | DATA_FLAG_END);
  EXPECT_EQ(buffer.committed, 2U);  // the character in front waits too
}

TEST(Tokenizer, InvalidBytesAreSkipped) {
  FakeContext context;
  context.content_type = "text/html; charset=utf-8";
  const LogRecorder log;
  Events events;
  const std::string_view page = "ab\xFF<p>\x80</p>";
  LogRecorder::Clear();
  EXPECT_EQ(RunPage(context, {page}, events.Recorder()), page);
  EXPECT_EQ(events.text(), " +P -P");
  EXPECT_NE(LogRecorder::Text().find("*** INVALID INPUT: FF\n*** ROW 1 COL 3\n"),
            std::string::npos);
  EXPECT_NE(LogRecorder::Text().find("*** INVALID INPUT: 80\n*** ROW 1 COL 6\n"),
            std::string::npos);
}

TEST(Tokenizer, NestedRemovalsAndEditsKeepPositionsRight) {
  const std::string_view page = "a<x>b<y>c</y>d<z>e</x>f<y>g</y>h<x>i";
  const auto filter = Filter(
      [](CHTMLElement &element) {
        if (element.name() == "Y") element.SetFlags(ELEMENT_REMOVAL);
        if (element.name() == "X") element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
        return element.name() == "Z" ? element.InsertText("[Z]", INSERT_BEFORE_START) : 0;
      },
      [](CHTMLElement &element) {
        if (element.name() == "Y") return element.Remove();
        return element.InsertText("|", INSERT_BEFORE_END) +
               element.InsertText("!", INSERT_AFTER_END);
      });
  for (std::size_t cut = 0; cut < page.size(); ++cut) {
    FakeContext context;
    EXPECT_EQ(RunPage(context, CutAt(page, cut), filter), "a<x>bd[Z]<z>e|</x>!fh<x>i|!") << cut;
  }
}

TEST(Tokenizer, HandlersThatLieAboutChangesDoNoHarm) {
  for (const std::int32_t lie : {-1000, 1000, 2147483647, -2147483647 - 1}) {
    const std::string_view page = "ab<p>cd</p>ef<b>";
    FakeContext context;
    EXPECT_EQ(RunPage(context, CutAt(page, 7), Filter([lie](CHTMLElement &) { return lie; })),
              page);
  }
}

TEST(Tokenizer, RandomPagesPassUnchanged) {
  std::mt19937 random(1);
  constexpr std::string_view ALPHABET = "<<<>>>//!--='\"\\ \nabpSCRIPTscript\x80\xFF";
  for (int round = 0; round < 2000; ++round) {
    std::string page;
    for (int i = 0; i < 60; ++i) page += ALPHABET[random() % ALPHABET.size()];
    const std::size_t first = random() % page.size();
    const std::size_t second = first + random() % (page.size() - first);
    const std::string_view view = page;
    FakeContext context;
    context.content_type = round % 2 == 0 ? "text/html" : "text/html; charset=utf-8";
    Events whole, pieces;
    EXPECT_EQ(RunPage(context, {view}, whole.Recorder()), page);
    EXPECT_EQ(
        RunPage(context,
                {view.substr(0, first), view.substr(first, second - first), view.substr(second)},
                pieces.Recorder()),
        page);
    EXPECT_EQ(whole.text(), pieces.text()) << page;
  }
}

/// In text and comments, characters beyond ASCII are passed over unseen.
TEST(Tokenizer, PassedOverCharactersDoNothing) {
  for (const State state : {State::TEXT, State::RAW_TEXT, State::COMMENT}) {
    for (unsigned unit = 0x80; unit <= 0xFFFF; ++unit) {
      NotedActions actions({state});
      EXPECT_EQ(RunTable(state, static_cast<char16_t>(unit), actions), Taken::CONSUMED);
      ASSERT_TRUE(actions.DidOnly(RunEffect::NOTHING)) << unit;
    }
  }
}

}  // namespace
}  // namespace velmora
