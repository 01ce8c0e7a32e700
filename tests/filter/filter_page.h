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
#include "support/log_recorder.h"
#include "support/tight_buffer.h"

namespace velmora::testing {

/// Judges alike for all tests: sizes 468x60 and 120x600; URLs by the parts "allowed" (exempt),
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

/// The page whole, then cut before each of its bytes. Where it stands in the host's buffer, and
/// whether there is a log, changes nothing of what goes on after each call.
inline void ExpectPage(const PageCase &c, const ScriptHandlerMakers &makers = {}) {
  for (std::size_t cut = 0; cut < c.page.size(); ++cut) {
    SCOPED_TRACE(c.page + " cut at " + std::to_string(cut));
    const auto run_at = [&](std::string_view before, std::string_view behind) {
      FilterRun run(c.categories);
      run.makers = makers;
      auto sent = SentAfterEachCall(*run.MakeHandler(), CutAt(c.page, cut), before, behind);
      EXPECT_EQ(sent.front() + (cut == 0 ? "" : sent.back()), c.expected);
      EXPECT_EQ(run.context.reports, c.reports);
      EXPECT_EQ(run.context.reported_count, std::ssize(c.reports));
      return sent;
    };
    const auto sent = run_at("", "");
    const LogRecorder log;
    const auto &[before, behind] = PLACES[1 + cut % (std::size(PLACES) - 1)];
    EXPECT_EQ(run_at(before, behind), sent);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace velmora::testing
