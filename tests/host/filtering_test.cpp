#include "host/policy/filtering.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "host/policy/current_filtering.h"
#include "support/scoped_variable.h"
#include "support/temporary_directory.h"

namespace velmora::host {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;

class RenewalTest : public ::testing::Test {
 protected:
  void Write(const std::string &policy) const { folder.Write("velmora.toml", policy); }

  testing::TemporaryDirectory folder;
  FilterFiles files{.plugin = FAKE_MODULES "/fake_plugin.so",
                    .policy = folder.Path("velmora.toml")};
};

TEST_F(RenewalTest, BringsWhatIsNewAndLeavesTheOldToWhoHoldsIt) {
  Write("[filter]\nblock = \"flash\"\n[event-log]\nfile = \"log\"");
  const auto first = StartFiltering(files);
  first->events->AddError("first");
  first->events->Flush();
  std::filesystem::rename(folder.Path("log"), folder.Path("log.1"));

  Write("[filter]\nblock = \"applets\"\n[event-log]\nfile = \"log\"");
  const auto second = Renewal(first, files).Finish();
  EXPECT_EQ(first->policy.For("", "").categories.Text(), "flash");
  EXPECT_EQ(second->policy.For("", "").categories.Text(), "applets");
  EXPECT_EQ(second->plugin, first->plugin);
  first->events->AddError("second");
  first->events->Flush();
  EXPECT_THAT(folder.Files().at("log.1"), HasSubstr("first"));
  EXPECT_THAT(folder.Files().at("log"), HasSubstr("second"));

  Write("");
  files.event_log = folder.Path("stand-in");
  const auto third = Renewal(second, files).Finish();
  EXPECT_TRUE(std::filesystem::exists(folder.Path("stand-in")));
  files.event_log.reset();
  EXPECT_EQ(Renewal(third, files).Finish()->events, nullptr);
}

TEST_F(RenewalTest, FailsAsAWhole) {
  EXPECT_THROW(StartFiltering(files), PolicyError);
  Write("[event-log]\nfile = \"log\"");
  const auto before = StartFiltering(files);
  const std::pair<std::string, std::string> cases[] = {
      {"[filter]\nblock = \"flsh\"", ":2:9: unknown category \"flsh\""},
      {"[event-log]\nfile = \"no/such/log\"", "no/such/log"},
      {"[ads]\nenabled = false", "takes a new start"},
      {"[ads]\nlibrary = \"other.so\"", "takes a new start"},
  };
  for (const auto &[policy, reason] : cases) {
    Write(policy);
    EXPECT_THAT([&] { Renewal(before, files); }, ThrowsMessage<std::exception>(HasSubstr(reason)));
  }
}

TEST_F(RenewalTest, AStartTellsOfAFolderWithoutTemporaryFiles) {
  Write("[event-log]\nfile = \"log\"");
  for (const std::string name : {"", "none"}) {
    const std::string temporary = folder.Path(name);
    const testing::ScopedVariable variable("TMPDIR", temporary.c_str());
    std::string said;
    {
      CurrentFiltering current([&](std::string_view line) { said += line; });
      current.Configure(files);
    }
    const std::string log = folder.Files().at("log");
    if (name.empty()) {
      EXPECT_EQ(said + log, "");
      EXPECT_EQ(folder.Files().size(), 2U) << "nothing is left behind";
    } else {
      EXPECT_THAT(said, HasSubstr(temporary + ": No such file or directory"));
      EXPECT_THAT(log, HasSubstr(said));
      EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
    }
  }
}

/// Lists come from others: what is no site in them is told, and the rest holds.
TEST_F(RenewalTest, ALineOfASiteListThatSaysNothingIsLeftOut) {
  constexpr const char *POLICY = "[event-log]\nfile = \"log\"\n[allow]\nsite-lists = \"sites.txt\"";
  Write(POLICY);
  const std::string sites =
      "*.a.example\nb.example\n0.0.0.0 c.example\td.example *.e # f\n::1 localhost\na b\n";
  folder.Write("sites.txt", sites);
  std::string said;
  CurrentFiltering current([&](std::string_view line) { said.append(line) += "\n"; });
  current.Configure(files);
  EXPECT_EQ(
      said,
      "sites.txt:1: \"*.a.example\" should be a plain name, which stands for its sub-domains "
      "too; left out\n"
      "sites.txt:3: \"*.e\" should be a plain name, which stands for its sub-domains too; left "
      "out\n"
      "sites.txt:5: \"a b\" is no host name; left out\n");
  EXPECT_THAT(current.Now()->policy.allowed_sites.Names(),
              ElementsAre("b.example", "c.example", "d.example", "localhost"));

  // What was said is not said again.
  said.clear();
  folder.Write("sites.txt", sites + "c d\n");
  current.Configure(files);
  while (said.empty()) current.Now();
  EXPECT_EQ(said, "sites.txt:6: \"c d\" is no host name; left out\n");

  said.clear();
  folder.Write("sites.txt", "/\n/\n/\n/\n/\n/\n/\nb.example\n");
  current.Configure(files);
  while (said.empty()) current.Now();
  EXPECT_THAT(said, AllOf(HasSubstr("sites.txt:5: "), Not(HasSubstr("sites.txt:6: ")),
                          EndsWith("sites.txt: 2 more are left out\n")));
}

}  // namespace
}  // namespace velmora::host
