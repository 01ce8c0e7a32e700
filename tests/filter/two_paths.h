// Runs a page through the plain path or the fast one and notes all that can be seen of it.
#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "filter/filter_page.h"
#include "html/element_handler_map.h"
#include "support/charsets.h"
#include "support/log_recorder.h"

namespace velmora::testing {

inline constexpr const char *USUAL_SETS[] = {"ISO-8859-1", "UTF-8", "Shift_JIS", "UTF-16LE",
                                             "windows-1251"};

inline const std::set<std::int32_t> CATEGORY_SETS[] = {
    {}, {300, 301, 302}, {303, 304, 305, 306, 307}, {300, 301, 302, 303, 304, 305, 306, 307, 308}};

struct TwoPathsCase {
  std::string charset;
  std::vector<std::string> pieces;
  std::set<std::int32_t> categories = {};
  bool has_library = true;
  bool is_logged = false;
  bool is_dumped = false;
  /// A handler of every element notes what it sees; it looks closely, so nothing can be left out.
  bool is_watched = false;
  /// Elements of these names are edited, each in the ways that its number's bits say.
  std::vector<std::pair<std::string, unsigned>> edits = {};
};

struct Seen {
  std::vector<std::string> sent;
  std::vector<Report> reports;
  /// What the host was asked, what the library was asked, and what the handlers saw meanwhile.
  std::vector<std::int32_t> asked;
  std::vector<std::string> calls;
  std::string log;

  friend bool operator==(const Seen &, const Seen &) = default;
};

/// An element, and how much had happened when it was seen.
inline std::string Describe(const char *moment, const CHTMLElement &element,
                            const FakeContext &context) {
  std::string text = std::string(moment) + " " + element.GetName();
  std::string name;
  std::string value;
  for (std::uint32_t i = 0; element.GetAttributeAt(i, name, value); ++i) {
    text += " [" + name + "|" + value + "]";
  }
  for (const CHTMLElement *outer = element.GetParent(); outer != nullptr;
       outer = outer->GetParent()) {
    text += " <" + outer->GetName();
  }
  return text + " " + std::to_string(element.GetFlags()) + " after " +
         std::to_string(context.asked.size()) + ", " + std::to_string(context.reports.size());
}

/// Which edits are made, by bits.
enum : unsigned {
  EDIT_SET = 1,
  EDIT_REMOVE_FIRST = 2,
  EDIT_INSERT_BEFORE = 4,
  EDIT_INSERT_AFTER = 8,
  EDIT_INSERT_AT_END = 16,
  EDIT_REMOVE_AT_END = 32,
  EDIT_REMOVE_NOW = 64,
  EDIT_DROP = 128,
  EDIT_HOLD = 256,
  EDIT_INSERT_TAG = 512,
  EDIT_EVERYTHING = 1023,
};

inline std::int32_t EditStart(CHTMLElement &element, unsigned edits) {
  std::int32_t change = 0;
  if (edits & EDIT_SET) change += element.SetAttribute("href", "\"set\xC3\xA9\"");
  if (edits & EDIT_REMOVE_FIRST) change += element.RemoveAttributeAt(0);
  if (edits & EDIT_INSERT_BEFORE) change += element.InsertText("[before]", INSERT_BEFORE_START);
  if (edits & EDIT_INSERT_TAG) change += element.InsertText("<i x=1>", INSERT_AFTER_START);
  if (edits & EDIT_INSERT_AFTER) change += element.InsertText("'after>", INSERT_AFTER_START);
  if (edits & EDIT_REMOVE_NOW) change += element.Remove();
  // What is gone has no end tag.
  if (edits & (EDIT_DROP | EDIT_REMOVE_NOW)) element.SetFlags(ELEMENT_DROP);
  if (edits & EDIT_HOLD) element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
  if (edits & EDIT_INSERT_AT_END) element.SetFlags(ELEMENT_HOLD | ELEMENT_NEED_END);
  if (edits & EDIT_REMOVE_AT_END) element.SetFlags(ELEMENT_REMOVAL);
  return change;
}

inline std::int32_t EditEnd(CHTMLElement &element, unsigned edits) {
  if (edits & EDIT_REMOVE_AT_END) return element.Remove();
  if (edits & EDIT_INSERT_AT_END) return element.InsertText("[end]", INSERT_BEFORE_END);
  return 0;
}

inline Seen RunPath(const TwoPathsCase &c, bool fast) {
  const FastPathOff path(!fast);
  std::unique_ptr<LogRecorder> log;
  if (c.is_logged) log = std::make_unique<LogRecorder>();
  LogRecorder::Clear();
  Seen seen;
  FilterRun run(c.categories);
  if (!c.has_library) run.ads.Close();
  run.context.content_type = "text/html; charset=" + c.charset;
  if (c.is_dumped) run.context.settings["DumpHTMLElements"] = "true";
  const auto note = [&](const char *moment, const CHTMLElement &element) {
    run.library.calls.push_back(Describe(moment, element, run.context));
  };
  {
    const CountedPointer<IDataProcessor> handler(
        new CDataHTML2([&](IDataContext &context, HandlerList &handlers) {
          AppendFilters(handlers, context, run.names, run.ads, run.makers);
          auto edited = std::make_unique<CElementHandlerMap>(context);
          for (const auto &[name, edits] : c.edits) {
            edited->Add(name, std::make_unique<ScriptedHandler>(
                                  context,
                                  [&note, edits = edits](CHTMLElement &element) {
                                    note("edit", element);
                                    return EditStart(element, edits);
                                  },
                                  [&note, edits = edits](CHTMLElement &element) {
                                    note("edit end", element);
                                    return EditEnd(element, edits);
                                  }));
          }
          handlers.Add(std::move(edited));
          if (!c.is_watched) return;
          handlers.Add(std::make_unique<ScriptedHandler>(
              context,
              [&note](CHTMLElement &element) {
                note("start", element);
                return 0;
              },
              [&note](CHTMLElement &element) {
                note("end", element);
                return 0;
              }));
        }));
    handler->SetContext(&run.context);
    const std::vector<std::string_view> pieces(c.pieces.begin(), c.pieces.end());
    const auto &[before, behind] = PLACES[c.pieces.front().size() % std::size(PLACES)];
    seen.sent = SentAfterEachCall(*handler, pieces, before, behind);
  }
  seen.reports = run.context.reports;
  seen.asked = run.context.asked;
  seen.calls = run.library.calls;
  seen.log = LogRecorder::Text();
  return seen;
}

/// The page in pieces of `size` bytes.
inline std::vector<std::string> InPieces(std::string_view page, std::size_t size) {
  std::vector<std::string> pieces;
  do {
    pieces.emplace_back(page.substr(0, size));
    page.remove_prefix(std::min(size, page.size()));
  } while (!page.empty());
  return pieces;
}

}  // namespace velmora::testing
