// velmora lex: what the lexers see, in both forms of output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "apps/shell.h"

namespace velmora::command {
namespace {

using ::testing::HasSubstr;

TEST(LexCommand, JsonIsOneObjectALine) {
  const Shell shell;
  using namespace std::string_literals;
  shell.Write("a.js", "var a='x\xE9\"';1\n");
  shell.Write("le.js", "a\0=\0\"\0b\0\"\0"s);
  shell.Write("be.js", "\0a\0=\0\"\0b\0\""s);
  shell.Write("a.vbs", "DIM a");
  const std::string wide =
      R"({"index":0,"code":"0xc1bc","class":"identifier"}
{"index":1,"code":"0x1007","class":"operator"}
{"index":2,"code":"0x6000","class":"string","hex":")";
  const std::pair<const char *, std::string> cases[] = {
      {"a.js", R"({"index":0,"code":"0x8008","class":"keyword"}
{"index":1,"code":"0xc1bc","class":"identifier"}
{"index":2,"code":"0x1007","class":"operator"}
{"index":3,"code":"0x6000","class":"string","hex":"78e922","text":"x\u00e9\""}
{"index":4,"code":"0x1101","class":"punctuation"}
{"index":5,"code":"0x4007","class":"number","hex":"31","text":"1"}
{"index":6,"code":"0x11fe","class":"end-of-script"}
{"fingerprint":"0x63f5c575","tokens":7}
)"},
      {"--wide le le.js", wide + R"(6200","text":"b"}
{"index":3,"code":"0x11fe","class":"end-of-script"}
{"fingerprint":"0x4aea70cf","tokens":4}
)"},
      {"--wide be be.js", wide + R"(0062","text":"b"}
{"index":3,"code":"0x11fe","class":"end-of-script"}
{"fingerprint":"0x4aea70cf","tokens":4}
)"},
  };
  for (const auto &[arguments, output] : cases) {
    const Result result = shell.Run(std::string("$velmora lex --format json ") + arguments);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, output) << arguments;
  }
  EXPECT_THAT(shell.Run("$velmora lex --vbs --format json a.vbs").output,
              HasSubstr(R"("code":"0x8005","class":"keyword"})"
                        "\n"));
}

TEST(LexCommand, TextEndsInTheFingerprint) {
  const Shell shell;
  shell.Write("a.js", "");
  const Result result = shell.Run("$velmora lex a.js");
  EXPECT_THAT(result.output, HasSubstr("0x11fe  end-of-script"));
  EXPECT_THAT(result.output, HasSubstr("fingerprint 0x"));
  const Result missing = shell.Run("$velmora lex nosuch.js");
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_EQ(missing.errors, "velmora: nosuch.js: No such file or directory\n");
  EXPECT_EQ(shell.Run("$velmora lex --wide middle a.js").exit_code, 2);
}

}  // namespace
}  // namespace velmora::command
