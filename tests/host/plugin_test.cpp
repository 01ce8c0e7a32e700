#include "host/plugin.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>

namespace velmora::host {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::filesystem::path MODULES = FAKE_MODULES;
const std::filesystem::path FAKE_PLUGIN = MODULES / "fake_plugin.so";
const std::filesystem::path FAKE_AD_LIBRARY = MODULES / "fake_ad_library.so";

class Variable {
 public:
  Variable(const char *name, const std::string &value) : name_(name) {
    setenv(name, value.c_str(), 1);
  }
  ~Variable() { unsetenv(name_); }

 private:
  const char *name_;
};

TEST(Plugin, LoadsTheAdLibraryFirstAndReleasesEverythingInOrder) {
  const std::filesystem::path trace =
      std::filesystem::path(::testing::TempDir()) / "velmora-loader-trace";
  std::filesystem::remove(trace);
  {
    const Variable variable("FAKE_TRACE", trace);
    const Plugin plugin(FAKE_PLUGIN, FAKE_AD_LIBRARY);
    EXPECT_NE(plugin.CreateProcessor(), nullptr);
    std::ofstream(trace, std::ios::app) << "in use\n";
  }
  std::stringstream events;
  events << std::ifstream(trace).rdbuf();
  std::filesystem::remove(trace);
  EXPECT_EQ(events.str(),
            "load\nfactory released\n"  // the ad-blocking library, asked for its factory
            "load\nin use\n"            // the plug-in
            "factory released\nunload\nunload\n");
}

TEST(Plugin, SaysWhatIsWrongWithAFile) {
  const std::filesystem::path text = std::filesystem::path(::testing::TempDir()) / "velmora-no-elf";
  std::ofstream(text) << "not a library\n";
  struct {
    std::filesystem::path plugin;
    std::optional<std::filesystem::path> ad_library;
    std::string fault;
    std::filesystem::path blamed;
    std::string message;
  } const cases[] = {
      {"no/such.so", {}, "", "no/such.so", "no such file"},
      {text, {}, "", text, "cannot be loaded"},
      {MODULES / "empty_module.so",
       {},
       "",
       MODULES / "empty_module.so",
       "does not export GetDataProcessorObjectID"},
      {FAKE_PLUGIN, {}, "no-identifier", FAKE_PLUGIN, "GetDataProcessorObjectID failed"},
      {FAKE_PLUGIN, {}, "no-factory", FAKE_PLUGIN, "GetFactory failed"},
      {FAKE_PLUGIN, {}, "no-processor", FAKE_PLUGIN, "makes no data processors"},
      {FAKE_PLUGIN, "no/such.so", "", "no/such.so", "no such file"},
      {FAKE_PLUGIN, MODULES / "empty_module.so", "", MODULES / "empty_module.so",
       "does not export Ordinal_3"},
      {FAKE_PLUGIN, MODULES / "unnamed_ad_library.so", "", MODULES / "unnamed_ad_library.so",
       "its SONAME is not libvexlar.so"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.message);
    const Variable fault("FAKE_FAULT", c.fault);
    try {
      const Plugin plugin(c.plugin, c.ad_library);
      ADD_FAILURE() << "no error";
    } catch (const LoadError &error) {
      EXPECT_THAT(error.what(), StartsWith(c.blamed.string() + ": "));
      EXPECT_THAT(error.what(), HasSubstr(c.message));
    }
  }
  std::filesystem::remove(text);
}

TEST(Plugin, FindsTheAdLibraryThatTheOptionsMean) {
  EXPECT_NO_THROW(Plugin(FAKE_PLUGIN, AdLibraryOptions{})) << "none lies beside the plug-in";
  EXPECT_NO_THROW(Plugin(FAKE_PLUGIN, AdLibraryOptions{.library = FAKE_AD_LIBRARY}));
  EXPECT_NO_THROW(Plugin(FAKE_PLUGIN, {.is_used = false, .library = "no/such.so"}));
  EXPECT_THROW(Plugin(FAKE_PLUGIN, AdLibraryOptions{.library = "no/such.so"}), LoadError);
  try {
    const Plugin plugin(FAKE_PLUGIN, {.library = FAKE_AD_LIBRARY, .lists = {"list.txt"}});
    ADD_FAILURE() << "no error";
  } catch (const LoadError &error) {
    EXPECT_THAT(error.what(), HasSubstr("does not export VexlarUseLists"));
  }
}

TEST(Plugin, AFileIsFoundByItsBareName) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(MODULES);
  EXPECT_NO_THROW(Plugin("fake_plugin.so"));
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace velmora::host
