// The plug-in's insides, put together as the module does it.
#include <gtest/gtest.h>

#include "pipeline/data_processor.h"
#include "plugin/plugin_module.h"
#include "support/fake_host.h"

namespace velmora {
namespace {

using namespace testing;

ModuleAccess NoLibrary() {
  ModuleAccess modules;
  modules.find_loaded = [](const char *) -> base::ModuleHandle { return nullptr; };
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

}  // namespace
}  // namespace velmora
