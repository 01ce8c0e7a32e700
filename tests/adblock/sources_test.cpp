// Where lists come from, and what happens when they are not there.
#include "matcher/sources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "matcher/blocker.h"
#include "support.h"
#include "support/scoped_variable.h"

namespace velmora::adblock::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> Names(const Sources &sources) {
  std::vector<std::string> names;
  for (const ListText &list : sources.lists) {
    names.push_back(std::filesystem::path(list.name).filename());
  }
  return names;
}

TEST(Sources, FilesAndFoldersAreReadInOrder) {
  const TemporaryDirectory folder;
  folder.Write("b.txt", "/b.");
  folder.Write("a.txt", "/a.");
  folder.Write(".hidden", "/h.");
  folder.Write("a.txt~", "/old.");
  std::filesystem::create_directory(folder.Path("inner"));
  const TemporaryDirectory other;
  const std::string file = other.Write("c.txt", "/c.");
  const Sources sources = ReadPaths(file + "::" + folder.path());
  EXPECT_THAT(Names(sources), ElementsAre("c.txt", "a.txt", "b.txt"));
  EXPECT_THAT(sources.problems, IsEmpty());
}

TEST(Sources, MissingOnesAreReportedAndTheOthersRead) {
  const TemporaryDirectory folder;
  const std::string file = folder.Write("a.txt", "/a.");
  std::filesystem::create_directory(folder.Path("empty"));
  ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
  const Sources sources = ReadPaths(folder.Path("missing") + ":" + folder.Path("pipe") + ":" +
                                    folder.Path("empty") + ":" + file);
  EXPECT_THAT(Names(sources), ElementsAre("a.txt"));
  EXPECT_THAT(sources.problems,
              ElementsAre(HasSubstr("missing: No such file"), HasSubstr("not a regular file"),
                          HasSubstr("no lists in this folder")));
}

TEST(Sources, TheEnvironmentStandsAboveTheChoice) {
  const TemporaryDirectory folder;
  const std::string chosen = folder.Write("chosen.txt", "/a.");
  const std::string named = folder.Write("named.txt", "/b.");
  EXPECT_THAT(Names(ReadSources({.lists = {chosen}})), ElementsAre("chosen.txt"));
  const velmora::testing::ScopedVariable variable(LISTS_VARIABLE, named.c_str());
  EXPECT_THAT(Names(ReadSources({.lists = {chosen}})), ElementsAre("named.txt"));
  EXPECT_THAT(Names(ReadSources({})), ElementsAre("named.txt"));
}

TEST(Sources, AreAddedToWhateverListsThereAre) {
  const TemporaryDirectory folder;
  const std::string chosen = folder.Write("chosen.txt", "/a.");
  Choice choice{.extra_lists = {folder.Write("extra.txt", "/b.")},
                .rules = "||own.example^\n",
                .rules_name = "own rules"};
  const std::size_t system = ReadSources({}).lists.size();
  EXPECT_EQ(ReadSources(choice).lists.size(), system + 2);
  choice.lists = {chosen};
  EXPECT_THAT(Names(ReadSources(choice)), ElementsAre("chosen.txt", "extra.txt", "own rules"));
  const velmora::testing::ScopedVariable variable(LISTS_VARIABLE, chosen.c_str());
  EXPECT_THAT(Names(ReadSources(choice)), ElementsAre("chosen.txt", "extra.txt", "own rules"));
}

TEST(Sources, ThereIsAlwaysSomeList) {
  const Sources sources = ReadSources({});
  EXPECT_FALSE(sources.lists.empty());
  EXPECT_THAT(sources.problems, IsEmpty());
}

TEST(Blocker, KeepsWhatIsInForceWhenNewListsHaveNoRule) {
  const TemporaryDirectory folder;
  Blocker blocker("");
  EXPECT_FALSE(blocker.Current());
  EXPECT_FALSE(blocker.Load({.lists = {folder.Path("missing")}}));
  EXPECT_FALSE(blocker.Current());
  EXPECT_THAT(blocker.Problems(), ElementsAre(HasSubstr("missing"), HasSubstr("no rules")));

  const std::string file = folder.Write("a.txt", "[Adblock]\n/one.\n");
  EXPECT_TRUE(blocker.Load({.lists = {file}}));
  EXPECT_FALSE(blocker.LoadOnce());
  EXPECT_EQ(NameOf(blocker.Current()->Judge({"p.com", "http://a.com/one.js"})), "blocked");

  folder.Write("a.txt", "! nothing\n");
  EXPECT_FALSE(blocker.Reload());
  EXPECT_EQ(NameOf(blocker.Current()->Judge({"p.com", "http://a.com/one.js"})), "blocked");

  folder.Write("a.txt", "[Adblock]\n/two.\n");
  EXPECT_TRUE(blocker.Reload());
  EXPECT_THAT(blocker.Problems(), IsEmpty());
  EXPECT_EQ(NameOf(blocker.Current()->Judge({"p.com", "http://a.com/one.js"})), "none");
  EXPECT_EQ(NameOf(blocker.Current()->Judge({"p.com", "http://a.com/two.js"})), "blocked");

  // A list of sizes says something too.
  folder.Write("a.txt", "size:none\n");
  EXPECT_TRUE(blocker.Reload());
  EXPECT_FALSE(blocker.Current()->IsAdSize(468, 60));
}

}  // namespace
}  // namespace velmora::adblock::testing
