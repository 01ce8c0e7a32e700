// The shared library from outside: through `dlopen` in this process, and in processes of its own.
#include <array>
#include <cstdio>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>

#include <velmora/velmora.h>

#include "support/fake_host.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using namespace testing;

template <class Function>
Function Find(void *library, const char *name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

TEST(BinaryInterface, StatusesAndCounts) {
  void *const library = dlopen(VELMORA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  EXPECT_EQ(dlsym(library, EXPORT_ORDINAL_3), dlsym(library, EXPORT_GET_OBJECT_ID));
  const auto get_object_id = Find<GetObjectIdFunction>(library, EXPORT_ORDINAL_3);
  const auto get_factory = Find<GetFactoryFunction>(library, EXPORT_GET_FACTORY);
  const auto get_count = Find<GetObjectCountFunction>(library, EXPORT_GET_OBJECT_COUNT);

  Identifier object;
  EXPECT_EQ(get_object_id(&object), RESULT_OK);
  EXPECT_EQ(object, ID_ProcessorObject);

  auto *const untouched = reinterpret_cast<IDataProcessorFactory *>(&object);
  IDataProcessorFactory *factory = untouched;
  EXPECT_EQ(get_factory(&ID_Factory, &factory), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(factory, untouched);
  EXPECT_EQ(get_factory(&object, &factory), RESULT_OK);
  EXPECT_EQ(get_count(), 0);

  void *output = nullptr;
  EXPECT_EQ(factory->CreateInstance(&ID_DataProcessor, &output), RESULT_OK);
  EXPECT_EQ(get_count(), 1);
  auto *const processor = static_cast<IDataProcessor *>(output);
  FakeContext context;
  context.categories = {301};
  EXPECT_TRUE(processor->SetContext(&context));
  EXPECT_TRUE(processor->IsSupported());
  EXPECT_EQ(factory->AddRef(), 2);
  EXPECT_EQ(factory->Release(), 1);
  EXPECT_EQ(processor->Release(), 0);
  EXPECT_EQ(factory->Release(), 0);
  EXPECT_EQ(get_count(), -1);
  dlclose(library);
}

/// A folder of its own for the log and the captures, and a registry file in it.
class ChildProcess : public ::testing::Test {
 protected:
  ChildProcess()
      : folder_(fs::temp_directory_path() /
                ("velmora-test-" + std::to_string(::getpid()) + "-" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    fs::create_directories(folder_);
  }
  ~ChildProcess() override { fs::remove_all(folder_); }

  void SetLogMode(int mode) {
    std::ofstream(folder_ / "registry.reg") << "\xEF\xBB\xBFREGEDIT4\r\n\r\n"
                                            << "[hkey_local_machine\\SOFTWARE\\Corvane]\r\n"
                                            << "\"debuglog\"=dword:" << mode << "\r\n";
  }

  /// What the child prints on both of its outputs.
  std::string RunChild(const std::string &actions, const std::string &environment = {},
                       const std::string &redirection = " 2>&1; }") const {
    const std::string command =
        "cd '" + folder_.string() + "' && { VELMORA_DIRECTORY='" + folder_.string() +
        "' VELMORA_REGISTRY='" + (folder_ / "registry.reg").string() + "' " + environment + " '" +
        PLUGIN_CHILD + "' '" + VELMORA_LIBRARY + "' " + actions + redirection;
    std::string output;
    std::FILE *const pipe = popen(command.c_str(), "r");
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe)) {
      output.append(part.data(), size);
    }
    const int status = pclose(pipe);
    return status == 0 ? output : output + "(failed)";
  }

  std::string Read(const fs::path &name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator(folder_)) {
      if (entry.is_regular_file() && entry.path().filename() != "registry.reg") {
        names.push_back(fs::relative(entry.path(), folder_).string());
      }
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path folder_;
};

constexpr char HEADER[] = "Log started at \\d\\d:\\d\\d:\\d\\d on \\d\\d/\\d\\d/\\d\\d\\.\r\n";

TEST_F(ChildProcess, LoadsUnloadsAndStartsAfresh) {
  SetLogMode(1);
  EXPECT_EQ(
      RunChild(
          "load count filter text/html '<applet></applet></x>' count unload load count unload"),
      "loaded\n0\n</x>\n301 [(Applet)] []\n-2\nunloaded\nloaded\n0\nunloaded\n");
  const std::string log = Read("Velmora.log");
  EXPECT_TRUE(std::regex_match(
      log,
      std::regex(std::string(HEADER) + "\\* unmatched end tag: X\n\\* row 1 col 22\n" + HEADER)))
      << log;
  // Later runs append.
  RunChild("load unload");
  EXPECT_TRUE(Read("Velmora.log").starts_with(log));
  EXPECT_GT(Read("Velmora.log").size(), log.size());
}

TEST_F(ChildProcess, LogModes) {
  struct Case {
    int mode;
    bool file, file_of_process, standard_error;
  };
  for (const Case &c :
       {Case{0, false, false, false}, Case{1, true, false, false}, Case{2, false, false, false},
        Case{3, false, true, false}, Case{4, false, false, true}, Case{5, true, false, true},
        Case{6, false, false, true}, Case{7, false, true, true}}) {
    SetLogMode(c.mode);
    const std::string output = RunChild("load filter text/html '</x>' unload");
    EXPECT_EQ(output.find("* unmatched end tag: X\n") != std::string::npos, c.standard_error);
    EXPECT_EQ(std::regex_search(output, std::regex(HEADER)), c.standard_error) << output;
    const std::vector<std::string> files = Files();
    ASSERT_EQ(files.size(), c.file || c.file_of_process ? 1U : 0U) << c.mode;
    if (!files.empty()) {
      EXPECT_TRUE(
          std::regex_match(files[0], std::regex(c.file ? "Velmora\\.log" : "Velmora#\\d+\\.log")));
      EXPECT_NE(Read(files[0]).find("* row 1 col 5\n"), std::string::npos);
      fs::remove(folder_ / files[0]);
    }
  }
}

TEST_F(ChildProcess, LogFallsBackToStandardError) {
  SetLogMode(1);
  fs::create_directory(folder_ / "Velmora.log");
  EXPECT_NE(RunChild("load filter text/html '</x>' unload").find("* unmatched end tag: X\n"),
            std::string::npos);
}

/// Beside a pipe that nobody reads, loading does not wait, and standard error has the lines.
TEST_F(ChildProcess, LogDoesNotWaitForAReader) {
  SetLogMode(1);
  ASSERT_EQ(mkfifo((folder_ / "Velmora.log").c_str(), 0600), 0);
  EXPECT_NE(RunChild("load filter text/html '</x>' unload").find("* unmatched end tag: X\n"),
            std::string::npos);
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
  EXPECT_NE(Read("Velmora.log").find("* unmatched end tag: X\n"), std::string::npos);
}

TEST_F(ChildProcess, WithoutARegistryNothingIsWritten) {
  EXPECT_EQ(RunChild("load filter text/html '</x>' unload"), "loaded\n</x>\nunloaded\n");
  EXPECT_TRUE(Files().empty());
}

/// Also below a folder named relative to where the process was when it loaded.
TEST_F(ChildProcess, CapturesWhereverTheHostGoes) {
  fs::create_directory(folder_ / "here");
  RunChild("load cd / capture text/html '<p>a' unload", "VELMORA_DIRECTORY=here");
  const std::vector<std::string> expected = {"here/after/0001.text#html",
                                             "here/before/0001.text#html"};
  EXPECT_EQ(Files(), expected);
}

TEST_F(ChildProcess, Captures) {
  RunChild("load capture text/html '<p>a' capture 'text/plain; x=1/2' b unload");
  const std::vector<std::string> expected = {"after/0001.text#html", "before/0001.text#html",
                                             "before/0002.text#plain; x=1#2"};
  EXPECT_EQ(Files(), expected);
  EXPECT_EQ(Read("before/0001.text#html"), "<p>a");
  EXPECT_EQ(Read("after/0001.text#html"), "<p>a");
  EXPECT_EQ(Read("before/0002.text#plain; x=1#2"), "b");
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
