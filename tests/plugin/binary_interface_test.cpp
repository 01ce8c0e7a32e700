// The shared library from outside: through `dlopen` in this process, and in processes of its own.
#include <array>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <string>

#include <velmora/velmora.h>

#include "support/fake_host.h"
#include "support/loaded_module.h"
#include "support/temporary_directory.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using namespace testing;

TEST(BinaryInterface, StatusesAndCounts) {
  const LoadedModule library(VELMORA_LIBRARY);
  EXPECT_EQ(library.Find<void *>(EXPORT_ORDINAL_3), library.Find<void *>(EXPORT_GET_OBJECT_ID));
  const auto get_factory = library.Find<GetFactoryFunction>(EXPORT_GET_FACTORY);
  const auto get_count = library.Find<GetObjectCountFunction>(EXPORT_GET_OBJECT_COUNT);
  auto *const untouched = reinterpret_cast<IDataProcessorFactory *>(1);
  IDataProcessorFactory *factory = untouched;
  EXPECT_EQ(get_factory(&ID_Factory, &factory), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(factory, untouched);
  EXPECT_EQ(get_factory(&ID_ProcessorObject, &factory), RESULT_OK);
  EXPECT_EQ(factory->AddRef(), 2);

  void *output = &output;
  EXPECT_EQ(factory->CreateInstance(&ID_DataProcessor, nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(factory->CreateInstance(&ID_Factory, &output), RESULT_NO_INTERFACE);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(get_count(), 0);
  EXPECT_EQ(factory->CreateInstance(&ID_Unknown, &output), RESULT_OK);
  EXPECT_EQ(get_count(), 1);
  auto *const processor = static_cast<IDataProcessor *>(output);
  EXPECT_EQ(processor->QueryInterface(&ID_Factory, &output), RESULT_NO_INTERFACE);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(processor->QueryInterface(&ID_DataProcessor, &output), RESULT_OK);
  EXPECT_EQ(output, processor);
  EXPECT_EQ(processor->Release(), 1);

  // A transaction's handler is counted down, never up; so is the factory.
  FakeContext context;
  context.categories = {301};
  EXPECT_TRUE(processor->SetContext(&context));
  EXPECT_TRUE(processor->IsSupported());
  Feed(*processor, {"<p>"});
  EXPECT_EQ(get_count(), 0);
  EXPECT_EQ(processor->Release(), 0);
  EXPECT_EQ(get_count(), -1);
  EXPECT_EQ(factory->QueryInterface(&ID_Factory, &output), RESULT_OK);
  EXPECT_EQ(output, factory);
  EXPECT_EQ(factory->QueryInterface(&ID_Unknown, &output), RESULT_OK);
  EXPECT_NE(output, factory) << "the object's own identity";
  for (const int left : {3, 2, 1, 0}) EXPECT_EQ(factory->Release(), left);
  EXPECT_EQ(get_count(), -2);
}

/// A folder of its own for the log and the captures, and a registry file in it.
class ChildProcess : public ::testing::Test {
 protected:
  void SetLogMode(int mode) {
    folder_.Write("registry.reg",
                  "\xEF\xBB\xBFREGEDIT4\r\n\r\n[hkey_local_machine\\SOFTWARE\\Corvane]\r\n"
                  "\"debuglog\"=dword:" +
                      std::to_string(mode) + "\r\n");
  }

  /// What the child prints on both of its outputs.
  std::string RunChild(const std::string &actions, const std::string &environment = {},
                       const std::string &redirection = " 2>&1; }") const {
    const std::string command =
        "cd '" + folder_.path() +
        "' && export VELMORA_DIRECTORY=$PWD VELMORA_REGISTRY=$PWD/registry.reg && { " +
        environment + " '" + PLUGIN_CHILD + "' '" + VELMORA_LIBRARY + "' " + actions + redirection;
    std::string output;
    std::FILE *const pipe = popen(command.c_str(), "r");
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe)) {
      output.append(part.data(), size);
    }
    const int status = pclose(pipe);
    return status == 0 ? output : output + "(failed)";
  }

  /// What is there beside the registry file.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto &[name, bytes] : folder_.Files()) {
      if (name != "registry.reg") names.push_back(name);
    }
    return names;
  }

  const TemporaryDirectory folder_;
};

constexpr char HEADER[] = "Log started at \\d\\d:\\d\\d:\\d\\d on \\d\\d/\\d\\d/\\d\\d\\.\r\n";

TEST_F(ChildProcess, LoadsUnloadsAndStartsAfresh) {
  SetLogMode(1);
  EXPECT_EQ(
      RunChild(
          "load count filter text/html '<applet></applet></x>' count unload load count unload"),
      "loaded\n0\n</x>\n301 [(Applet)] []\n-2\nunloaded\nloaded\n0\nunloaded\n");
  const std::string log = folder_.Read("Velmora.log");
  EXPECT_TRUE(std::regex_match(
      log,
      std::regex(std::string(HEADER) + "\\* unmatched end tag: X\n\\* row 1 col 22\n" + HEADER)))
      << log;
  // Later runs append.
  RunChild("load unload");
  EXPECT_TRUE(folder_.Read("Velmora.log").starts_with(log));
  EXPECT_GT(folder_.Read("Velmora.log").size(), log.size());
}

/// Into its file, or to standard error where there can be none; nothing waits for a reader.
TEST_F(ChildProcess, LogsWhereItsModeSays) {
  const struct {
    int mode;
    const char *before;
    const char *file;
    bool is_on_standard_error;
  } cases[] = {
      {0, "", "", false},
      {1, "", "Velmora\\.log", false},
      {3, "", "Velmora#\\d+\\.log", false},
      {4, "", "", true},
      {7, "", "Velmora#\\d+\\.log", true},
      {1, "mkdir Velmora.log; ", "", true},
      {1, "mkfifo Velmora.log; ", "", true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::to_string(c.mode) + " " + c.before);
    SetLogMode(c.mode);
    const std::string output = RunChild("load filter text/html '</x>' unload", c.before);
    EXPECT_EQ(output.find("* unmatched end tag: X\n") != std::string::npos, c.is_on_standard_error);
    EXPECT_EQ(std::regex_search(output, std::regex(HEADER)), c.is_on_standard_error) << output;
    const std::vector<std::string> files = Files();
    ASSERT_EQ(files.size(), *c.file ? 1U : 0U);
    if (*c.file) {
      EXPECT_TRUE(std::regex_match(files[0], std::regex(c.file))) << files[0];
      EXPECT_NE(folder_.Read(files[0]).find("* row 1 col 5\n"), std::string::npos);
    }
    fs::remove_all(folder_.Path(*c.file ? files[0] : "Velmora.log"));
  }
}

/// Mode 4, and nobody reads standard error.
TEST_F(ChildProcess, LogMayBeClosedAtItsOtherEnd) {
  SetLogMode(4);
  EXPECT_EQ(RunChild("load filter text/html '</x>' unload", "", " 2>&1 >&3 | true; } 3>&1"),
            "loaded\n</x>\nunloaded\n");
}

TEST_F(ChildProcess, WithoutMemoryThereIsNoFactory) {
  EXPECT_GT(std::stol(RunChild("starve")), 5);
}

TEST_F(ChildProcess, MayEndWhileThreadsFeedTransactions) {
  SetLogMode(1);
  EXPECT_EQ(RunChild("ads " FAKE_AD_LIBRARY " load busy text/html "
                     "'<img src=a><script>document.write(1)</script></x>'"),
            "ads loaded\nloaded\nends\n");
  EXPECT_NE(folder_.Read("Velmora.log").find("* unmatched end tag: X\n"), std::string::npos);
}

TEST_F(ChildProcess, WithoutARegistryNothingIsWritten) {
  EXPECT_EQ(RunChild("load filter text/html '</x>' unload"), "loaded\n</x>\nunloaded\n");
  EXPECT_TRUE(Files().empty());
}

/// Also below a folder named relative to where the process was when it loaded.
TEST_F(ChildProcess, CapturesWhereverTheHostGoes) {
  fs::create_directory(folder_.Path("here"));
  RunChild("load cd / capture text/html '<p>a' capture 'text/plain; x=1/2' b unload",
           "VELMORA_DIRECTORY=here");
  const std::map<std::string, std::string> expected = {{"here/after/0001.text#html", "<p>a"},
                                                       {"here/before/0001.text#html", "<p>a"},
                                                       {"here/before/0002.text#plain; x=1#2", "b"}};
  EXPECT_EQ(folder_.Files(), expected);
}

TEST_F(ChildProcess, BindsToAnAdLibraryThatIsLoadedAlready) {
  const std::string page = " filter text/html '<img src=/banner.gif><img src=b.gif>' ";
  const std::string script = "FAKE_AD_URLS=banner";
  EXPECT_EQ(RunChild("load" + page + "unload", script),
            "loaded\n<img src=/banner.gif><img src=b.gif>\nunloaded\n");
  EXPECT_EQ(
      RunChild("ads " FAKE_AD_LIBRARY " load" + page + "unload load" + page + "unload", script),
      "ads loaded\nloaded\n<img src=b.gif>\n305 [IMG src=/banner.gif] [\"banner\"]\nunloaded\n"
      "loaded\n<img src=b.gif>\n305 [IMG src=/banner.gif] [\"banner\"]\nunloaded\n");
}

}  // namespace
}  // namespace velmora
