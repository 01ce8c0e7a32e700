// Script bodies through their handlers: what is sent on, reported and logged.
#include "script/data_script.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <sys/resource.h>
#include <vector>

#include "base/counted_pointer.h"
#include "core/switches.h"
#include "support/fake_ad_blocker.h"
#include "support/fake_host.h"
#include "support/log_recorder.h"

namespace velmora::testing {
namespace {

using namespace std::string_literals;

const std::string FLASH_ID = "D27CDB6E-AE6D-11CF-96B8-444553540000";
const std::string FLASH_TYPE = "application/x-shockwave-flash";

/// What becomes of a script of that many bytes when it is neutralised.
std::string Blank(std::size_t length, const std::string &space = " ") {
  return switches::SCRIPT_REPLACEMENT ? space : std::string(length, ' ');
}

class DataScriptTest : public ::testing::Test {
 protected:
  template <class Handler>
  std::string Run(const std::vector<std::string_view> &pieces) {
    context_.reports.clear();
    library_.calls.clear();
    library_.references = 2;
    const AdBlocking ads(bound_ ? &library_ : nullptr);
    const CountedPointer<Handler> handler(new Handler(ads));
    handler->SetContext(&context_);
    return Feed(*handler, pieces);
  }
  std::string RunJS(std::string_view script) { return Run<CDataJS>({script}); }

  /// The script is replaced, and this is the one report.
  void ExpectFinding(const std::string &script, std::int32_t category, const std::string &detail) {
    EXPECT_EQ(RunJS(script), Blank(script.size())) << script;
    EXPECT_EQ(context_.reports, (std::vector<Report>{{category, "(Script)", detail}})) << script;
  }
  void ExpectNothing(const std::string &script) {
    EXPECT_EQ(RunJS(script), script);
    EXPECT_EQ(context_.reports, std::vector<Report>{}) << script;
  }
  void Enable(std::initializer_list<std::int32_t> categories) { context_.categories = categories; }

  FakeContext context_;
  FakeAdBlocker library_;
  bool bound_ = true;
};

TEST_F(DataScriptTest, BlocksALanguageChunkByChunk) {
  Enable({CATEGORY_JAVASCRIPT, CATEGORY_JAVASCRIPT_FLASH});
  EXPECT_EQ(Run<CDataJS>({"var a;", "'" + FLASH_ID, "b'"}), Blank(6) + Blank(37) + Blank(2));
  EXPECT_EQ(context_.reports,
            (std::vector<Report>(3, Report{CATEGORY_JAVASCRIPT, "(Script)", ""})));
  EXPECT_EQ(Run<CDataVBS>({"a = 1"}), "a = 1");
  EXPECT_EQ(context_.reports.size(), 0U);
  Enable({CATEGORY_VBSCRIPT});
  EXPECT_EQ(Run<CDataVBS>({"a\0 \0"s, ""}), Blank(4) + Blank(0));
  EXPECT_EQ(context_.reports, (std::vector<Report>(2, Report{CATEGORY_VBSCRIPT, "(Script)", ""})));
  // The option block takes the category away again.
  context_.option_block = {0, 0, 0, 0, 0x10, 0, 0, 0};
  EXPECT_EQ(Run<CDataVBS>({"a = ", "1"}), "a = 1");
}

TEST_F(DataScriptTest, HoldsAScriptUntilItIsComplete) {
  const AdBlocking ads;
  const CountedPointer<CDataJS> handler(new CDataJS(ads));
  handler->SetContext(&context_);
  FakeBuffer buffer("sentvar a;tail");
  handler->ProcessData(&buffer, 4, 6, DATA_FLAG_START);
  EXPECT_EQ(buffer.committed, 4U);
  handler->ProcessData(&buffer, 4, 6, 0);
  EXPECT_EQ(buffer.committed, 4U);
  handler->ProcessData(&buffer, 4, 6, DATA_FLAG_END);
  EXPECT_EQ(buffer.committed, 10U);
  EXPECT_EQ(buffer.bytes, "sentvar a;tail");

  // Only the script's bytes are replaced, and what takes their place goes out.
  Enable({CATEGORY_JAVASCRIPT_FLASH});
  buffer.bytes = "sent'" + FLASH_ID + "'tail";
  handler->ProcessData(&buffer, 4, 38, DATA_FLAG_START | DATA_FLAG_END);
  EXPECT_EQ(buffer.bytes, "sent" + Blank(38) + "tail");
  EXPECT_EQ(buffer.committed, 4 + Blank(38).size());
}

TEST_F(DataScriptTest, AsksTheHostAtEveryCallAndForAllOfACompleteScript) {
  Run<CDataJS>({"a", "b"});
  EXPECT_EQ(context_.asked,
            (std::vector<std::int32_t>{100, 100, 100, 101, 102, 103, PROPERTY_HOST}));
  context_.asked.clear();
  bound_ = false;
  Run<CDataVBS>({"a"});
  EXPECT_EQ(context_.asked, (std::vector<std::int32_t>{200, 200, 201, 202, 203}));
}

TEST_F(DataScriptTest, PassesWithoutContext) {
  const AdBlocking ads;
  const CountedPointer<CDataJS> handler(new CDataJS(ads));
  EXPECT_EQ(Feed(*handler, {"'" + FLASH_ID, "'"}), "'" + FLASH_ID + "'");
}

TEST_F(DataScriptTest, Flash) {
  Enable({CATEGORY_JAVASCRIPT_FLASH});
  const auto flash = [&](const std::string &script, const std::string &detail) {
    ExpectFinding(script, CATEGORY_JAVASCRIPT_FLASH, "\"" + detail + "\"");
  };
  flash("w('<object classid=\"clsid:d27cdb6e-ae6d-11cf-96b8-444553540000\">')", FLASH_ID);
  flash("'" + FLASH_ID + "'", FLASH_ID);
  flash("/APPLICATION\\//,'APPLICATION/X-Shockwave-Flash'", FLASH_TYPE);
  // The first one in the script counts.
  flash("'" + FLASH_TYPE + FLASH_ID + "'", FLASH_TYPE);
  ExpectNothing("'" + FLASH_ID.substr(1) + "' '" + FLASH_ID.substr(0, 35) + "'");
  ExpectNothing(FLASH_ID + " // '" + FLASH_ID + "'");
  Enable({CATEGORY_JAVASCRIPT_AD_SIZES, CATEGORY_JAVASCRIPT_AD_URLS, CATEGORY_VBSCRIPT_FLASH});
  ExpectNothing("'" + FLASH_ID + "'");
  EXPECT_EQ(Run<CDataVBS>({"#" + FLASH_TYPE + "#"}), Blank(31));
  EXPECT_EQ(context_.reports,
            (std::vector<Report>{{CATEGORY_VBSCRIPT_FLASH, "(Script)", "\"" + FLASH_TYPE + "\""}}));
}

TEST_F(DataScriptTest, AdSizes) {
  Enable({CATEGORY_JAVASCRIPT_AD_SIZES});
  library_.sizes = {"468x60", "120x0", "0x600", "-1x0"};
  const auto ad = [&](const std::string &script, const std::string &detail) {
    ExpectFinding(script, CATEGORY_JAVASCRIPT_AD_SIZES, detail);
  };
  ad("'<img width=468 height=60>'", "width=468 height=60");
  ad("'Height=\"60' + \"WIDTH = '468\"", "width=468 height=60");
  ad("'width=468' + x + 'height=1 height=60'", "width=468 height=60");
  ad("\"maxwidth \t=\t '120'\"", "width=120 height=0");
  ad("'height=\"600'", "width=0 height=600");
  // Numbers wrap in 32 bits.
  ad("'width=4294967416'", "width=120 height=0");
  ad("'width=4294967295'", "width=-1 height=0");
  // The first size that is an ad's counts, with what stood before it.
  ad("'width=120 height=60 width=468'", "width=120 height=0");
  for (const char *script : {"'width: 120'", "'width='", "'width=='", "'width=x120'",
                             "'width=\\\"\\\"120'", "'width=-120'", "'widt' 'h=120'",
                             "'width' '=120'", "'height=60 width=4680'", "width=120"}) {
    ExpectNothing(script);
  }
  RunJS("'width=1 width=x height=2 height=3'");
  EXPECT_EQ(library_.calls, (std::vector<std::string>{"CheckSize www.example.com 1x0",
                                                      "CheckSize www.example.com 1x2",
                                                      "CheckSize www.example.com 1x3"}));
}

TEST_F(DataScriptTest, AdAddresses) {
  Enable({CATEGORY_JAVASCRIPT_AD_URLS});
  RunJS("'abc' + /d/");
  const std::string call = "CheckUrlText www.example.com ";
  EXPECT_EQ(library_.calls,
            (std::vector<std::string>{call + "[abc]", call + "[bc]", call + "[c]", call + "[/d/]",
                                      call + "[d/]", call + "[/]"}));
  library_.rules = {{"ad.x", 1, "reason"}, {"ad.y", 1, "other"}, {"two", 2, "unused"}};
  ExpectFinding("'ad.y' + 'ad.x'", CATEGORY_JAVASCRIPT_AD_URLS, "\"other\"");
  ExpectFinding("'two'", CATEGORY_JAVASCRIPT_AD_URLS, "\"\"");
  ExpectNothing("''");
  // An address that is let through lets all advertisements of the script through, and nothing more
  // is asked.
  library_.rules = {{"fine", 1, "", true}, {"ad.x", 1, "reason"}};
  ExpectNothing("'ad.x' + 'fine' + 'ad.x'");
  ExpectNothing("'fine ad.x'");
  EXPECT_EQ(library_.calls.size(), 1U);
}

TEST_F(DataScriptTest, FindingsOfSeveralKinds) {
  Enable({CATEGORY_JAVASCRIPT_FLASH, CATEGORY_JAVASCRIPT_AD_SIZES, CATEGORY_JAVASCRIPT_AD_URLS});
  library_.sizes = {"468x0"};
  library_.rules = {{"fine", 0, "", true}, {"ad.x", 1, "reason"}};
  const std::string quoted_id = "\"" + FLASH_ID + "\"";
  ExpectFinding("'width=468' 'ad.x'", CATEGORY_JAVASCRIPT_AD_SIZES, "width=468 height=0");
  ExpectFinding("'width=468 ad.x'", CATEGORY_JAVASCRIPT_AD_URLS, "\"reason\"");
  // Flash wins over what was found before, and over any exemption.
  ExpectFinding("'ad.x' '" + FLASH_ID + "'", CATEGORY_JAVASCRIPT_FLASH, quoted_id);
  ExpectFinding("'fine' '" + FLASH_ID + "'", CATEGORY_JAVASCRIPT_FLASH, quoted_id);
  ExpectNothing("'width=468' 'fine'");
  RunJS("'" + FLASH_ID + "' 'ad.x'");
  EXPECT_EQ(library_.calls.size(), 0U);
  // With no library there are no ads.
  bound_ = false;
  ExpectNothing("'width=468' 'ad.x' 'fine'");
}

TEST_F(DataScriptTest, ReadsSixteenBitScripts) {
  Enable({CATEGORY_JAVASCRIPT_FLASH});
  const auto wide = [](const std::string &text, bool big_endian) {
    std::string bytes;
    for (const char c : text) bytes += big_endian ? "\0"s + c : c + "\0"s;
    return bytes;
  };
  const std::string script = "'" + FLASH_ID + "'";
  const std::string little = wide(script, false);
  const std::string big = wide(script, true);
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {little, " \0"s, "Zero byte found: assuming little endian\n"},
      {big, "\0 "s, "Zero byte found: assuming big endian\n"},
      {"\xFF\xFE" + little, " \0"s,
       "BOM found: little endian\n*** Non-ASCII (0xFEFF) in Unicode script\n"},
      {"\xFE\xFF" + big, "\0 "s,
       "BOM found: big endian\n*** Non-ASCII (0xFEFF) in Unicode script\n"},
      {little + "x", " \0"s,
       "Zero byte found: assuming little endian\n*** Odd number of bytes in Unicode script.\r\n"},
      // Units that are not ASCII are left out, so the string around them closes up.
      {little.substr(0, 4) + "\xAB\x01" + little.substr(4), " \0"s,
       "Zero byte found: assuming little endian\n*** Non-ASCII (0x01AB) in Unicode script\n"},
      {script, " ", ""},
  };
  for (const auto &[body, space, logged] : cases) {
    const LogRecorder log;
    EXPECT_EQ(RunJS(body), Blank(body.size(), space));
    EXPECT_EQ(log.Text(), logged);
  }
  // A script that stays is not changed by having been read as 16-bit.
  const std::string harmless = wide("'harmless'", false) + "\xAB\x01x";
  EXPECT_EQ(RunJS(harmless), harmless);
}

TEST_F(DataScriptTest, RemembersTheWidthOfTheLastScriptThatWasRead) {
  const AdBlocking ads;
  const CountedPointer<CDataJS> handler(new CDataJS(ads));
  handler->SetContext(&context_);
  for (const auto &[script, space] : {std::pair{"\0a"s, "\0 "s}, {"a"s, " "s}}) {
    Enable({});
    EXPECT_EQ(Feed(*handler, {script}), script);
    Enable({CATEGORY_JAVASCRIPT});
    EXPECT_EQ(Feed(*handler, {"b", "c"}), Blank(1, space) + Blank(1, space));
  }
}

TEST_F(DataScriptTest, DumpsStrings) {
  Enable({CATEGORY_JAVASCRIPT_FLASH});
  const std::string header = "======== SCRIPT STRING ========\n";
  const std::string line(80, 'x');
  const std::tuple<const char *, std::string, std::string> cases[] = {
      {"TRUE", "a = '" + line + line + "x' + 12 + '' + 'c\0d'"s,
       header + line + "\n" + line + "\nx\n\n" + header + "\n" + header + "c\n\n"},
      // After Flash there is nothing more to see.
      {"TRUE", "'" + FLASH_ID + "' 'more'", header + FLASH_ID + "\n\n"},
      {"yes", "'a'", ""},
  };
  for (const auto &[setting, script, logged] : cases) {
    context_.settings["DumpScriptStrings"] = setting;
    const LogRecorder log;
    RunJS(script);
    EXPECT_EQ(log.Text(), logged);
  }
}

/// A script that only the token list can read to its end: a text of two pages, and a string that
/// stands right after it. Flash comes last, where the list has long outgrown its memory.
std::string ScriptForTheList() {
  std::string script = "'" + std::string(17000, 'x') + "''misread'";
  for (int i = 0; i < 2000; ++i) script += ",'text'";
  return script + ",'" + FLASH_ID + "'";
}

TEST_F(DataScriptTest, FindsFlashWithoutRoomForTemporaryFiles) {
  Enable({CATEGORY_JAVASCRIPT_FLASH});
  const std::string flash = "\"" + FLASH_ID + "\"";
  ExpectFinding(ScriptForTheList(), CATEGORY_JAVASCRIPT_FLASH, flash);
  // No folder.
  const char *const folder = std::getenv("TMPDIR");
  const std::string kept = folder != nullptr ? folder : "/tmp";
  setenv("TMPDIR", "/no/such/folder", 1);
  ExpectFinding(ScriptForTheList(), CATEGORY_JAVASCRIPT_FLASH, flash);
  setenv("TMPDIR", kept.c_str(), 1);
  // Files that cannot grow.
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{5000, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  ExpectFinding(ScriptForTheList(), CATEGORY_JAVASCRIPT_FLASH, flash);
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(DataScriptTest, BoundsWhatMisreadStringsCost) {
  Enable({CATEGORY_JAVASCRIPT_FLASH});
  context_.listens = true;
  // What is read as the length of the string after each long text: half of the script.
  std::string length("\0\0 \0"s);
  std::string text;
  for (int i = 0; i < 4125; ++i) text += length;
  std::string script = "  ";
  while (script.size() < 4U << 20) script += "'" + text + "''y'";
  ExpectNothing(script);
  EXPECT_EQ(context_.listener.unexamined, 0);
  EXPECT_EQ(context_.listener.misread, 1);
  context_.listener.most_misread_bytes = 8U << 30;
  ExpectNothing(script.substr(0, 1U << 20));
  EXPECT_EQ(context_.listener.misread, 1) << "as much as the host allows";
  // Strings that are read right are examined all the same.
  ExpectFinding(script + ",'" + FLASH_ID + "'", CATEGORY_JAVASCRIPT_FLASH, "\"" + FLASH_ID + "\"");
}

TEST_F(DataScriptTest, ChunksMakeNoDifference) {
  Enable({CATEGORY_JAVASCRIPT_FLASH, CATEGORY_JAVASCRIPT_AD_SIZES, CATEGORY_VBSCRIPT_AD_SIZES});
  library_.sizes = {"468x60"};
  std::string script;
  for (int i = 0; i < 200; ++i) script += "f(\"text\" + 12.5);\n";
  std::mt19937 random(3);
  for (const std::string &body :
       {script, script + "w(\"height=60\" + \"width=468\")", script + '"' + FLASH_TYPE + '"'}) {
    const std::string js = RunJS(body);
    const std::vector<Report> reports = context_.reports;
    const std::string vbs = Run<CDataVBS>({body});
    for (int round = 0; round < 30; ++round) {
      std::vector<std::string_view> pieces;
      std::string_view rest = body;
      while (!rest.empty()) {
        const std::size_t length = 1 + random() % (round < 10 ? 3 : 2000);
        pieces.push_back(rest.substr(0, length));
        rest.remove_prefix(pieces.back().size());
      }
      EXPECT_EQ(Run<CDataVBS>(pieces), vbs);
      EXPECT_EQ(Run<CDataJS>(pieces), js);
      EXPECT_EQ(context_.reports, reports);
    }
  }
}

}  // namespace
}  // namespace velmora::testing
