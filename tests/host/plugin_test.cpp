#include "host/loading/plugin.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora::host {
namespace {

using ::testing::HasSubstr;
using testing::ScopedVariable;
using testing::TemporaryDirectory;
using ::testing::ThrowsMessage;

const std::filesystem::path MODULES = FAKE_MODULES;
const std::filesystem::path FAKE_PLUGIN = MODULES / "fake_plugin.so";
const std::filesystem::path FAKE_AD_LIBRARY = MODULES / "fake_ad_library.so";

TEST(Plugin, LoadsTheAdLibraryFirstAndReleasesEverythingInOrder) {
  const TemporaryDirectory folder;
  const std::string trace = folder.path() + "/trace";
  {
    const ScopedVariable variable("FAKE_TRACE", trace.c_str());
    const Plugin plugin(FAKE_PLUGIN, FAKE_AD_LIBRARY);
    EXPECT_NE(plugin.CreateProcessor(), nullptr);
    std::ofstream(trace, std::ios::app) << "in use\n";
  }
  EXPECT_EQ(folder.Files()["trace"],
            "load\nfactory released\n"  // the ad-blocking library, asked for its factory
            "load\nin use\n"            // the plug-in
            "factory released\nunload\nunload\n");
}

TEST(Plugin, SaysWhatIsWrongWithAFile) {
  const TemporaryDirectory folder;
  folder.Write("text", "not a library\n");
  const std::filesystem::path text = folder.path() + "/text";
  const std::filesystem::path empty = MODULES / "empty_module.so";
  const std::filesystem::path unnamed = MODULES / "unnamed_ad_library.so";
  const struct {
    std::filesystem::path plugin;
    std::optional<std::filesystem::path> ad_library;
    const char *fault;
    std::string message;
  } cases[] = {
      {"no/such.so", {}, "", "no/such.so: no such file"},
      {text, {}, "", text.string() + ": cannot be loaded"},
      {empty, {}, "", empty.string() + ": does not export GetDataProcessorObjectID"},
      {FAKE_PLUGIN, {}, "no-identifier", "fake_plugin.so: GetDataProcessorObjectID failed"},
      {FAKE_PLUGIN, {}, "no-factory", "fake_plugin.so: GetFactory failed"},
      {FAKE_PLUGIN, {}, "no-processor", "fake_plugin.so: makes no data processors"},
      {FAKE_PLUGIN, "no/such.so", "", "no/such.so: no such file"},
      {FAKE_PLUGIN, empty, "", empty.string() + ": does not export Ordinal_3"},
      {FAKE_PLUGIN, unnamed, "",
       unnamed.string() + ": the plug-in does not find it: its SONAME is not libvexlar.so"},
  };
  for (const auto &c : cases) {
    const ScopedVariable fault("FAKE_FAULT", c.fault);
    EXPECT_THAT([&] { Plugin(c.plugin, c.ad_library); },
                ThrowsMessage<LoadError>(HasSubstr(c.message)));
  }
}

TEST(Plugin, FindsTheAdLibraryThatTheOptionsMean) {
  EXPECT_NO_THROW(Plugin(FAKE_PLUGIN, AdLibraryOptions{})) << "none lies beside the plug-in";
  EXPECT_NO_THROW(Plugin(FAKE_PLUGIN, AdLibraryOptions{.library = FAKE_AD_LIBRARY}));
  EXPECT_NO_THROW(Plugin(FAKE_PLUGIN, {.is_used = false, .library = "no/such.so"}));
  EXPECT_THROW(Plugin(FAKE_PLUGIN, AdLibraryOptions{.library = "no/such.so"}), LoadError);
  EXPECT_THAT([] { Plugin(FAKE_PLUGIN, {.library = FAKE_AD_LIBRARY, .lists = {"list.txt"}}); },
              ThrowsMessage<LoadError>(HasSubstr("does not export VexlarUse")));
}

TEST(Plugin, AFileIsFoundByItsBareName) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(MODULES);
  EXPECT_NO_THROW(Plugin("fake_plugin.so"));
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace velmora::host
