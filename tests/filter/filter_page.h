// Runs pages through the filters.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/counted_pointer.h"
#include "filter/filters.h"
#include "support/fake_ad_blocker.h"
#include "support/fake_host.h"
#include "support/html_page.h"
#include "support/tight_buffer.h"

namespace velmora::testing {

/// Judges alike for all tests: sizes 468x60 and 120x600; addresses by the parts "allowed" (exempt),
/// "/ads/" (reason "ads folder"), "/track/" (reason "tracker") and "maybe" (an answer of 2, whose
/// text means nothing).
struct FilterRun {
  explicit FilterRun(std::set<std::int32_t> categories) {
    context.categories = std::move(categories);
    library.rules = {{"allowed", 1, "allowed", true},
                     {"/ads/", 1, "ads folder"},
                     {"/track/", 1, "tracker"},
                     {"maybe", 2, "no reason"}};
    library.sizes = {"468x60", "120x600"};
  }

  /// What the host sends on for a page given in `pieces`, in a context that may have seen pages.
  std::string Page(const std::vector<std::string_view> &pieces) {
    const CountedPointer<IDataProcessor> handler = MakeHandler();
    return FeedTight(*handler, pieces);
  }

  CountedPointer<IDataProcessor> MakeHandler() {
    const CountedPointer<IDataProcessor> handler(
        new CDataHTML2([this](IDataContext &page_context, HandlerList &handlers) {
          AppendFilters(handlers, page_context, names, ads, makers);
        }));
    handler->SetContext(&context);
    return handler;
  }

  FakeContext context;
  FakeAdBlocker library;
  EventAttributeNames names;
  AdBlocking ads{&library};
  ScriptHandlerMakers makers;
};

/// One page, what becomes of it, and what is reported.
struct PageCase {
  std::set<std::int32_t> categories;
  std::string page;
  std::string expected;
  std::vector<Report> reports = {};
};

/// A page that loses nothing.
inline PageCase Kept(std::set<std::int32_t> categories, const std::string &page) {
  return {std::move(categories), page, page};
}

/// The page whole, then cut before each of its bytes.
inline void ExpectPage(const PageCase &c, const ScriptHandlerMakers &makers = {}) {
  for (std::size_t cut = 0; cut < c.page.size(); ++cut) {
    SCOPED_TRACE(c.page + " cut at " + std::to_string(cut));
    FilterRun run(c.categories);
    run.makers = makers;
    ASSERT_EQ(run.Page(CutAt(c.page, cut)), c.expected);
    ASSERT_EQ(run.context.reports, c.reports);
    ASSERT_EQ(run.context.reported_count, std::ssize(c.reports));
  }
}

}  // namespace velmora::testing
