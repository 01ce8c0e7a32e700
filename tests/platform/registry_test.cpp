#include "platform/registry.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora::platform {
namespace {

using namespace velmora::testing;

constexpr char KEY[] = "HKEY_LOCAL_MACHINE\\Software\\Corvane";

std::uint32_t DebugLog(std::string_view text) {
  return Registry::Parse(text).Number(KEY, "DebugLog");
}

/// What a value reads as, written as the text after its "=" sign.
TEST(Registry, ReadsValues) {
  constexpr struct {
    std::string_view value;
    std::uint32_t number;
  } CASES[] = {
      {"dword:00000001", 1},
      {"dword:deadBEEF", 0xDEADBEEF},
      {"dword:7", 7},
      {" dword:00000005 ; comment", 5},
      {"hex:03", 3},
      {"hex:01,02,03,04", 0x04030201},
      {"hex: 01, 02 ", 0x0201},
      {"hex(4):01,00,00,00", 1},
      {"hex:01,\\\n  02,\\\r\n03", 0x030201},
      {"hex:", 0},
      {"hex:01,02,03,04,05", 0},  // longer than a number
      {"\"\"", 0},
      {"\"7\"", '7'},
      {"\"abc\" ; comment", 'a' | 'b' << 8 | 'c' << 16},
      {"\"abcd\"", 0},  // its NUL is the fifth byte
      {"\"\\\"\\\\\"", '"' | '\\' << 8},
      // Not readable.
      {"", 0},
      {"dword:", 0},
      {"dword:123456789", 0},
      {"dword:0x1", 0},
      {"dword:-1", 0},
      {"dword:1 2", 0},
      {"hex:1g", 0},
      {"hex:123", 0},
      {"hex:01,,02", 0},
      {"hex:01,\\", 1},  // nothing follows
      {"DWORD:6", 6},
      {"Hex(4):02", 2},
      {"hex(4:01", 0},
      {"\"1", 0},
      {"\"1\\", 0},
      {"\"1\" x", 0},
      {"qword:1", 0},
      {"-", 0},
  };
  for (const auto &[value, number] : CASES) {
    const std::string line = "\"DebugLog\"=" + std::string(value);
    EXPECT_EQ(DebugLog("[" + std::string(KEY) + "]\n" + line), number) << line;
    EXPECT_EQ(DebugLog("[" + std::string(KEY) + "]\r\n" + line + "\r\n"), number) << line;
  }
}

TEST(Registry, FindsKeysAndValues) {
  const Registry registry = Registry::Parse(
      "Windows Registry Editor Version 5.00\n"
      "\"DebugLog\"=dword:00000009\n"
      "; [HKEY_LOCAL_MACHINE\\Software\\Corvane]\n"
      "[-HKEY_LOCAL_MACHINE\\Software\\Gone]\n"
      "\"Value\"=dword:00000001\n"
      "\n"
      "  [hkey_local_machine\\SOFTWARE\\corvane]  \n"
      "@=dword:00000002\n"
      "\"twice\"=dword:00000003\n"
      "\"Twice\" = dword:00000004\n"
      "nonsense\n"
      "\"unfinished\n"
      "\"no sign\" dword:00000005\n"
      "[HKEY_LOCAL_MACHINE\\Software\\Corvane\\Below] ; [comment]\n"
      "\"Value\"=dword:00000006\n"
      "[not a key\n"
      "[HKEY_LOCAL_MACHINE\\Software\\A]B]x;]\n"
      "\"Value\"=dword:00000007");
  EXPECT_EQ(registry.Number(KEY, ""), 2U);
  EXPECT_EQ(registry.Number(KEY, "TWICE"), 4U);
  EXPECT_EQ(registry.Number(KEY, "DebugLog"), 0U);
  EXPECT_EQ(registry.Number(KEY, "no sign"), 0U);
  EXPECT_EQ(registry.Number("HKEY_LOCAL_MACHINE\\Software\\Corvane\\Below", "value"), 6U);
  EXPECT_EQ(registry.Number("HKEY_LOCAL_MACHINE\\Software\\Gone", "Value"), 0U);
  EXPECT_EQ(registry.Number("HKEY_LOCAL_MACHINE\\Software\\A]B]x;", "Value"), 7U);
  EXPECT_EQ(registry.Number("", "DebugLog"), 0U) << "a value without a key";
}

TEST(Registry, TakesBackWhatAMinusSignNames) {
  const std::string before =
      "[A\\B]\n\"One\"=dword:1\n\"Two\"=dword:2\n@=dword:3\n[A\\B\\C]\n\"One\"=dword:4\n"
      "[A\\Bee]\n\"One\"=dword:5\n";
  const struct {
    std::string lines;
    std::string left;  // of One, Two and the default in A\B, and One in A\B\C and A\Bee
  } CASES[] = {
      {"", "12345"},
      {"[a\\b]\n\"ONE\"=- ; gone\n", "02345"},
      {"[A\\B]\n\"One\"=-\n\"One\"=dword:7\n", "72345"},
      {"[A\\B]\n@ = -\n", "12045"},
      {"[A\\B]\n\"One\"=-1\n", "12345"},
      {"[-a\\b] ; and below\n\"One\"=dword:7\n", "00005"},
      {"[-A\\B\\C]\r\n[A\\B]\r\n\"Two\"=dword:8\r\n", "18305"},
      {"[-A\\B", "12345"},
  };
  for (const auto &[lines, left] : CASES) {
    const Registry registry = Registry::Parse(before + lines);
    std::string numbers;
    const std::pair<const char *, const char *> values[] = {
        {"A\\B", "One"}, {"A\\B", "Two"}, {"A\\B", ""}, {"A\\B\\C", "One"}, {"A\\Bee", "One"}};
    for (const auto &[key, name] : values) numbers += std::to_string(registry.Number(key, name));
    EXPECT_EQ(numbers, left) << lines;
  }
}

TEST(Registry, AcceptsByteOrderMarks) {
  const std::string text = "[" + std::string(KEY) + "]\r\n\"DebugLog\"=dword:00000006\r\n";
  EXPECT_EQ(DebugLog("\xEF\xBB\xBF" + text), 6U);

  std::string wide = "\xFF\xFE";
  for (const char c : text) wide.append(1, c).append(1, '\0');
  EXPECT_EQ(DebugLog(wide), 6U);
  EXPECT_EQ(DebugLog(wide + "x"), 6U);
}

TEST(Registry, OfMachineIsTheNamedFile) {
  const TemporaryDirectory directory;
  directory.Write("machine.reg", "[" + std::string(KEY) + "]\n\"DebugLog\"=dword:00000003\n");
  const auto number_in = [](const std::string &file) {
    const ScopedVariable named("VELMORA_REGISTRY", file.c_str());
    return Registry::OfMachine().Number(KEY, "DebugLog");
  };
  EXPECT_EQ(number_in(directory.path() + "/machine.reg"), 3U);
  EXPECT_EQ(number_in(directory.path() + "/missing.reg"), 0U);
  EXPECT_EQ(number_in(directory.path()), 0U);
  // Nobody writes into this pipe, and nobody waits for that.
  ASSERT_EQ(::mkfifo((directory.path() + "/pipe").c_str(), 0600), 0);
  EXPECT_EQ(number_in(directory.path() + "/pipe"), 0U);
  for (const char *const unset : {static_cast<const char *>(nullptr), ""}) {
    const ScopedVariable named("VELMORA_REGISTRY", unset);
    EXPECT_STREQ(Registry::MachineFile(), "/etc/velmora/registry.reg");
  }
}

}  // namespace
}  // namespace velmora::platform
