#include "html/element.h"

#include <gtest/gtest.h>

#include "support/html_page.h"

namespace velmora {
namespace {

using namespace testing;

/// What a page becomes when an action runs at the start tag of every X element.
struct EditCase {
  const char *what;
  std::string_view page;
  std::function<std::int32_t(CHTMLElement &)> action;
  std::string_view expected;
  std::int32_t change;
};

const EditCase EDIT_CASES[] = {
    {"a value is replaced, quotes and all", "<x a='1' b=2>t",
     [](auto &e) { return e.SetAttribute("A", "\"new\""); }, "<x a=\"new\" b=2>t", 2},
    {"text is written in the page's set", "<x a=1>",
     [](auto &e) { return e.SetAttribute("a", "\xC3\xA9"); }, "<x a=\xE9>", 0},
    {"a missing attribute is not added", "<x a=1>",
     [](auto &e) { return e.SetAttribute("b", "2"); }, "<x a=1>", 0},
    {"an attribute without a value has none to set", "t<x a b=2>",
     [](auto &e) { return e.SetAttribute("a", "1"); }, "t<x a b=2>", 0},
    {"nor has one whose \"=\" ends the tag", "t<x b=2 a=>",
     [](auto &e) { return e.SetAttribute("a", "1"); }, "t<x b=2 a=>", 0},
    {"later attributes move", "<x a=1 b=2 c=3>",
     [](auto &e) { return e.SetAttribute("a", "1234") + e.SetAttribute("c", "99"); },
     "<x a=1234 b=2 c=99>", 4},
    {"of two of one name, the second is written at its old place", "<x a=1 a=2 b=3>",
     [](auto &e) { return e.SetAttribute("a", "xyz"); }, "<x a=xyz xyz=2 b=3>", 2},
    {"after which others have moved by the last change only", "<x a=1 a=2 b=3>",
     [](auto &e) { return e.SetAttribute("a", "xyz") + e.SetAttribute("b", "!"); },
     "<x a=xyz xyz=2 !=3>", 2},
    {"removal goes from the name to the value's end", "<x  a = '1'  b>",
     [](auto &e) { return e.RemoveAttribute("a"); }, "<x    b>", -7},
    {"removal of a name alone", "<x a b=1>", [](auto &e) { return e.RemoveAttribute("A"); },
     "<x  b=1>", -1},
    {"removal by index moves what follows", "<x a=1 b=2 c=3>",
     [](auto &e) { return e.RemoveAttributeAt(0) + e.RemoveAttributeAt(1); }, "<x  b=2 >", -6},
    {"removal by an index that is not there", "<x a>",
     [](auto &e) { return e.RemoveAttributeAt(1); }, "<x a>", 0},
    {"removals in one pass leave the places of the others right", "<x on a=1 on=2 b on c=3>text",
     [](auto &e) {
       return e.RemoveAttributesIf([](const auto &a) { return a.name == "on"; },
                                   [](const auto &) {}) +
              e.SetAttribute("a", "4") + e.SetAttribute("c", "56");
     },
     "<x  a=4  b  c=56>text", -7},
    {"two of one name are removed, the second at its old place", "<x a=1 a=2 b=3>text",
     [](auto &e) { return e.RemoveAttribute("a"); }, "<x  a=23>text", -3},
    {"insertion before and after the start tag", "t<x>u",
     [](auto &e) {
       return e.InsertText("[", INSERT_BEFORE_START) + e.InsertText("]", INSERT_AFTER_START);
     },
     "t[<x>]u", 2},
    {"insertion after an edit uses the old end of the tag", "<x a=1>text",
     [](auto &e) { return e.SetAttribute("a", "123") + e.InsertText("!", INSERT_AFTER_START); },
     "<x a=12!3>text", 3},
    {"an unknown position is nowhere", "<x>",
     [](auto &e) { return e.InsertText("!", 4) + e.InsertText("!", INSERT_BEFORE_END); }, "<x>", 0},
    {"without its end tag the start tag is removed", "a<x b=1>c</x>",
     [](auto &e) {
       e.SetFlags(ELEMENT_DROP);
       return e.Remove();
     },
     "ac</x>", -7},
    {"what is removed is not removed again", "a<x>c",
     [](auto &e) {
       const auto change = e.Remove();
       return change + e.Remove();
     },
     "ac", -3},
    {"... and has no attributes", "<x a=1>bcdefgh",
     [](auto &e) { return e.Remove() + e.SetAttribute("a", "long"); }, "bcdefgh", -7},
    {"an end before the start is no removal", "<x>bcd",
     [](auto &e) {
       e.Shift(2);
       e.SetEndTag(0, 1);
       return e.Remove();
     },
     "<x>bcd", 1},
    {"a removal after an edit takes the old length", "<x a=''>bcd",
     [](auto &e) { return e.SetAttribute("a", "1") + e.Remove(); }, "cd", -9},
    {"... but not more than the chunk holds", "<x a=12345678>b",
     [](auto &e) { return e.SetAttribute("a", "") + e.Remove(); }, "", -15},
};

TEST(Element, Edits) {
  for (const EditCase &c : EDIT_CASES) {
    FakeContext context;
    std::int32_t change = 0;
    const std::string result =
        RunPage(context, {c.page}, Filter([&](CHTMLElement &element) {
                  return element.name() == "X" ? change = c.action(element) : 0;
                }));
    EXPECT_EQ(result, c.expected) << c.what;
    EXPECT_EQ(change, c.change) << c.what;
  }
}

TEST(Element, AttributesAsWritten) {
  struct Case {
    std::string_view tag;
    const char *attributes;
  };
  const Case cases[] = {
      {"<x A HREF='x'>", "[a][href]='x'"},
      {"<x a = b c>", "[a]=b[c]"},
      {"<x a= >", "[a]"},
      {"<x = b>", "[=][b]"},
      {"<x a==b>", "[a]==[b]"},
      {"<x a=\"1 > 2\" b='\\''>", "[a]=\"1 > 2\"[b]='\\''"},
      {"<x a=b\"c d\"e f>", "[a]=b\"c d\"e[f]"},
      {"<x a\"b>", "[a\"b]"},
      {"<x 'a'=1>", "['a']=1"},
      {"<x a=1/>", "[a]=1/"},
      {"<x\na\t=\r\n\"\xE9\">", "[a]=\"\xC3\xA9\""},
  };
  for (const Case &c : cases) {
    FakeContext context;
    std::string attributes;
    RunPage(context, {c.tag}, Filter([&](CHTMLElement &element) {
              std::string name;
              std::string value;
              for (std::uint32_t i = 0; element.GetAttributeAt(i, name, value); ++i) {
                attributes += '[' + name + ']' + (value.empty() ? "" : '=' + value);
              }
              return 0;
            }));
    EXPECT_EQ(attributes, c.attributes) << c.tag;
  }
}

TEST(Element, FirstAttributeOfANameIsRead) {
  FakeContext context;
  std::string value;
  RunPage(context, {"<a href='1' HREF=2>"}, Filter([&](CHTMLElement &element) {
            EXPECT_TRUE(element.GetAttribute("HRef", value));
            std::string none = "kept";
            EXPECT_FALSE(element.GetAttribute("hre", none));
            EXPECT_EQ(none, "kept");
            return 0;
          }));
  EXPECT_EQ(value, "'1'");
}

/// A host moves all bytes after an edit: a tag of a megabyte must not call for one edit an
/// attribute. The page comes out as if it had, odd places of equal names included.
TEST(Element, TagsOfAnySizeAreEditedInFewSteps) {
  constexpr std::uint32_t MANY = 20'000;
  std::string tag = "<x";
  std::string removed = "<x";
  std::string set = "<x";
  for (std::uint32_t i = 0; i < MANY; ++i) {
    tag += " on=1 a='2'";
    removed += "  a='2'";
    set += " on=1 a='2'";
  }
  // Where the value of the i-th "on" stands before all edits is where it is written.
  for (std::uint32_t i = 0; i < 200; ++i) set.replace(2 + i * 11 + 4, 1, "longer");
  tag += ">text";
  removed += ">text";
  set += ">text";

  struct Case {
    std::string page, expected;
    ScriptedHandler::Action action;
  };
  const std::string short_tag = tag.substr(0, 2 + 200 * 11) + ">text";
  const std::string short_set = set.substr(0, set.size() - (MANY - 200) * 11 - 5) + ">text";
  for (const Case &c : {Case{tag, removed,
                             [](CHTMLElement &e) {
                               return e.RemoveAttributesIf(
                                   [](const auto &a) { return a.name == "on"; },
                                   [](const auto &) {});
                             }},
                        Case{short_tag, short_set, [](CHTMLElement &e) {
                               // The last change is the result; the position has to follow all.
                               return 200 * e.SetAttribute("on", "longer");
                             }}}) {
    FakeContext context;
    const CountedPointer<IDataProcessor> handler(new CDataHTML2(Filter(c.action)));
    handler->SetContext(&context);
    FakeBuffer buffer(c.page);
    handler->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START | DATA_FLAG_END);
    EXPECT_EQ(buffer.bytes, c.expected);
    EXPECT_LT(buffer.replacements, 40);
  }
}

TEST(Element, AncestorsAreSeenAndChangedFromWithin) {
  const auto filter = Filter(
      [](CHTMLElement &element) {
        if (element.name() != "Z") element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
        if (element.name() != "Z") return 0;
        EXPECT_EQ(element.depth(), 2U);
        EXPECT_EQ(element.NameAt(1), "Y");
        CHTMLElement *const outer = element.GetParent()->GetParent();
        EXPECT_EQ(outer->GetParent(), nullptr);
        const std::int32_t change = outer->SetAttribute("a", "\"longer\"");
        outer->SetFlags(ELEMENT_REMOVE_AT_END);
        outer->ClearFlags(ELEMENT_REMOVE_AT_END);
        std::string b;
        EXPECT_TRUE(element.GetParent()->GetAttribute("b", b));
        EXPECT_EQ(b, "2");
        EXPECT_TRUE(element.GetAttribute("c", b));
        EXPECT_EQ(b, "3");
        return change;
      },
      [](CHTMLElement &element) { return element.SetAttribute("a", "4"); });
  FakeContext context;
  EXPECT_EQ(RunPage(context, {"<x a=1><y b=2><z c=3>t</x>u"}, filter),
            "<x a=4><y b=2><z c=3>t</x>u");
}

/// Edits around both tags when an element that was held open is closed.
TEST(Element, EditsAtTheEndTag) {
  const std::string_view page = "p<x a=1>one<y>two</x >q";
  FakeContext context;
  const auto filter = Filter(
      [](CHTMLElement &element) {
        if (element.name() == "X") element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
        return 0;
      },
      [](CHTMLElement &element) {
        std::int32_t change = element.SetAttribute("a", "\"long\"");
        change += element.InsertText("(", INSERT_BEFORE_START);
        change += element.InsertText(")", INSERT_AFTER_END);
        return change + element.InsertText("|", INSERT_BEFORE_END);
      });
  for (std::size_t cut = 0; cut < page.size(); ++cut) {
    EXPECT_EQ(RunPage(context, CutAt(page, cut), filter), "p(<x a=\"long\">one<y>two|</x >)q")
        << cut;
  }
}

/// Replaces its chunk, and checks what it is given.
class ReplacingHandler final : public CContentHandler {
 public:
  explicit ReplacingHandler(std::string &seen) : seen_(seen) {}

 protected:
  void Process(const Chunk &chunk) override {
    seen_.assign(reinterpret_cast<const char *>(chunk.Data()), chunk.length());
    EXPECT_EQ(chunk.flags(), DATA_FLAG_START | DATA_FLAG_END);
    const std::uint8_t text[] = {'*', '*'};
    chunk.buffer().Replace(chunk.offset(), chunk.length(), text, 2);
  }

 private:
  std::string &seen_;
};

TEST(Element, ContentPassesThroughAHandler) {
  std::string seen;
  const CountedPointer<IDataProcessor> handler(new ReplacingHandler(seen));
  const auto filter = Filter(
      [](CHTMLElement &element) {
        element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
        return 0;
      },
      [&](CHTMLElement &element) {
        return element.FilterContent(handler.get()) + element.FilterContent(nullptr);
      });
  FakeContext context;
  EXPECT_EQ(RunPage(context, {"a<x>bcd</x>e"}, filter), "a<x>**</x>e");
  EXPECT_EQ(seen, "bcd");
  EXPECT_EQ(RunPage(context, {"a<x>bcd"}, filter), "a<x>**");

  // After an edit that lengthened the start tag the content's length is negative: no call.
  seen.clear();
  const auto shortened = Filter(
      [](CHTMLElement &element) {
        element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
        return 0;
      },
      [&](CHTMLElement &element) {
        element.SetEndTag(0, 0);
        return element.FilterContent(handler.get());
      });
  EXPECT_EQ(RunPage(context, {"a<x>bcd</x>e"}, shortened), "a<x>bcd</x>e");
  EXPECT_EQ(seen, "");
}

TEST(Element, ShiftLeavesUnknownPositionsUnknown) {
  FakeContext context;
  const std::string result = RunPage(context, {"ab<x>c"}, Filter([](CHTMLElement &element) {
                                       element.Shift(-2);
                                       return element.InsertText("!", INSERT_BEFORE_START);
                                     }));
  // The position before the held bytes is still inside the chunk.
  EXPECT_EQ(result, "!ab<x>c");
}

}  // namespace
}  // namespace velmora
