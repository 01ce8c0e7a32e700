// The plug-in's insides, put together as the module does it.
#include <gtest/gtest.h>

#include "pipeline/data_processor.h"
#include "plugin/data_processor_factory.h"
#include "plugin/plugin_module.h"
#include "support/fake_host.h"

namespace velmora {
namespace {

using namespace testing;

ModuleAccess NoLibrary() {
  ModuleAccess modules;
  modules.find_loaded = [](const char *) -> platform::ModuleHandle { return nullptr; };
  return modules;
}

std::string RunBody(const std::shared_ptr<const Module> &module, FakeContext &context,
                    const std::vector<std::string_view> &pieces) {
  const CountedPointer<IDataProcessor> processor(new CDataProcessor(module->content_handlers()));
  processor->SetContext(&context);
  return Feed(*processor, pieces);
}

TEST(Module, EveryKindOfBodyReachesItsHandler) {
  struct Case {
    const char *type;
    std::int32_t category;
    std::string_view body, expected;
    const char *item;
  };
  using namespace std::string_view_literals;
  const Case cases[] = {
      {"text/html", 300, "a<script>b</script>c", "ac", "(Script)"},
      {"text/html", 302, "a<object><b></object>c", "ac", "(ActiveX)"},
      {"text/html", 100, "a<script>b</script>c", "a<script> </script>c", "(Script)"},
      {"text/html", 200, "<script language=vbscript>b</script>",
       "<script language=vbscript> </script>", "(Script)"},
      {"application/x-javascript", 100, "var a;", " ", "(Script)"},
      {"application/x-javascript", 101, "x='application/x-shockwave-flash'", " ", "(Script)"},
      {"text/vbscript", 200, "dim a", " ", "(Script)"},
      {"image/gif", 400,
       "GIF89a\1\0\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\1\x44\0,\0\0\0\0\1\0\1\0\0\2\1\x44\0;"sv,
       "GIF89a\1\0\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2\1\x44\0;"sv, "(GIF Animation)"},
  };
  const auto module = std::make_shared<Module>(platform::Registry(), NoLibrary());
  for (const Case &c : cases) {
    FakeContext context;
    context.content_type = c.type;
    EXPECT_EQ(RunBody(module, context, {c.body}), c.body);
    EXPECT_TRUE(context.reports.empty());

    context.categories = {c.category};
    EXPECT_EQ(RunBody(module, context, {c.body}), c.expected) << c.type << " " << c.category;
    ASSERT_EQ(context.reports.size(), 1U) << c.body;
    EXPECT_EQ(context.reports[0].category, c.category);
    EXPECT_EQ(context.reports[0].item, c.item);
    EXPECT_EQ(context.references, 0);
  }
}

TEST(Module, FactoryAnswersStatusesAndCounts) {
  const auto module = std::make_shared<Module>(platform::Registry(), NoLibrary());
  const std::int32_t before = LiveObjects::Count();
  auto *const factory = new CDataProcessorFactory(module->content_handlers());
  EXPECT_EQ(factory->AddRef(), 1);
  void *output = &output;
  EXPECT_EQ(factory->CreateInstance(&ID_DataProcessor, nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(factory->CreateInstance(&ID_Factory, &output), RESULT_NO_INTERFACE);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(LiveObjects::Count(), before);

  EXPECT_EQ(factory->CreateInstance(&ID_Unknown, &output), RESULT_OK);
  auto *const processor = static_cast<IDataProcessor *>(output);
  EXPECT_EQ(LiveObjects::Count(), before + 1);
  EXPECT_EQ(processor->QueryInterface(&ID_DataProcessor, &output), RESULT_OK);
  EXPECT_EQ(output, processor);
  EXPECT_EQ(processor->QueryInterface(&ID_Factory, &output), RESULT_NO_INTERFACE);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(processor->Release(), 1);

  // A transaction's handler is counted down, never up; so is the factory.
  FakeContext context;
  processor->SetContext(&context);
  Feed(*processor, {"<p>"});
  EXPECT_EQ(LiveObjects::Count(), before);
  EXPECT_EQ(processor->Release(), 0);
  EXPECT_EQ(LiveObjects::Count(), before - 1);

  EXPECT_EQ(factory->QueryInterface(&ID_Factory, &output), RESULT_OK);
  EXPECT_EQ(output, static_cast<IDataProcessorFactory *>(factory));
  EXPECT_EQ(factory->QueryInterface(&ID_Unknown, &output), RESULT_OK);
  EXPECT_EQ(output, static_cast<CCountedObject *>(factory));
  EXPECT_NE(output, static_cast<void *>(static_cast<IDataProcessorFactory *>(factory)));
  EXPECT_EQ(factory->Release(), 2);
  EXPECT_EQ(factory->Release(), 1);
  EXPECT_EQ(factory->Release(), 0);
  EXPECT_EQ(LiveObjects::Count(), before - 2);
}

}  // namespace
}  // namespace velmora
