#include "platform/registry.h"

#include <gtest/gtest.h>

#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora::platform {
namespace {

using namespace velmora::testing;

constexpr char KEY[] = "HKEY_LOCAL_MACHINE\\Software\\Corvane";

std::uint32_t DebugLog(std::string_view text) {
  return Registry::Parse(text).Number(KEY, "DebugLog");
}

/// What a value reads as, written as the text behind its "=" sign.
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
      "[HKEY_LOCAL_MACHINE\\Software\\Corvane\\Below]\n"
      "\"Value\"=dword:00000006");
  EXPECT_EQ(registry.Number(KEY, ""), 2U);
  EXPECT_EQ(registry.Number(KEY, "TWICE"), 4U);
  EXPECT_EQ(registry.Number(KEY, "DebugLog"), 0U);
  EXPECT_EQ(registry.Number(KEY, "no sign"), 0U);
  EXPECT_EQ(registry.Number("HKEY_LOCAL_MACHINE\\Software\\Corvane\\Below", "value"), 6U);
  EXPECT_EQ(registry.Number("HKEY_LOCAL_MACHINE\\Software\\Gone", "Value"), 0U);
  EXPECT_EQ(registry.Number("", "DebugLog"), 9U);
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
  EXPECT_EQ(number_in(""), 0U);
}

}  // namespace
}  // namespace velmora::platform
