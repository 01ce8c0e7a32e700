// Many transactions at once, for the thread sanitizer above all.
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "pipeline/data_processor.h"
#include "plugin/plugin_module.h"
#include "support/fake_host.h"
#include "support/log_recorder.h"

namespace velmora {
namespace {

using namespace testing;

TEST(Concurrency, TransactionsDoNotMeet) {
  const auto module = std::make_shared<Module>(platform::Registry(), ModuleAccess());
  const LogRecorder log;
  const std::string page =
      "<html><meta http-equiv=content-type content='a;charset=utf-8'><body onload='x()'>"
      "<script>document.write('width=468 height=60')</script><applet></applet></b></html>";
  const std::string expected = [&] {
    FakeContext context;
    context.categories = {301, 306, 307, 308, 102};
    const CountedPointer<IDataProcessor> processor(new CDataProcessor(module->content_handlers()));
    processor->SetContext(&context);
    return Feed(*processor, {page});
  }();
  EXPECT_NE(expected, page);

  std::vector<std::thread> threads;
  for (unsigned thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (unsigned round = 0; round < 50; ++round) {
        FakeContext context;
        context.categories = {301, 306, 307, 308, 102};
        const CountedPointer<IDataProcessor> processor(
            new CDataProcessor(module->content_handlers()));
        processor->SetContext(&context);
        const std::string_view view = page;
        const std::size_t cut = (thread * 50 + round) % page.size();
        EXPECT_EQ(Feed(*processor, {view.substr(0, cut), view.substr(cut)}), expected);
        EXPECT_EQ(context.reports.size(), 1U);
      }
    });
  }
  for (std::thread &thread : threads) thread.join();

  // No line of the log was lost or mixed with another.
  const std::string_view line = "CHARSET (from meta) = utf-8\n";
  std::size_t count = 0;
  for (std::size_t at = 0; (at = LogRecorder::Text().find(line, at)) != std::string::npos; ++at) {
    ++count;
  }
  EXPECT_EQ(count, 201U);
}

}  // namespace
}  // namespace velmora
