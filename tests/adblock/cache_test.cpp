// The compiled form in its file: when it is used, and that no file can lead a read astray.
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

#include "support.h"

namespace velmora::adblock::testing {
namespace {

constexpr std::string_view RULES =
    "[Adblock]\n||ads.example^$third-party\n/ad[0-9]+\\.js/\n/banner/"
    "*$domain=a.example|~b.a.example\n"
    "@@||good.example^$domain=shop.*\n/x.$important,to=c.example\n*$script,domain=d.example\n"
    "size:17x18\n";

/// Questions that touch every kind of rule and key.
void AskEverything(const Ruleset &rules) {
  for (const char *page : {"www.site.example", "a.example", "shop.co.uk", "d.example"}) {
    for (const char *url :
         {"http://x.ads.example/", "http://c.example/ad1.js?x.y", "http://good.example/banner/x.",
          "http://c.example/x.js", "https://user@[::1]:80/banner/ad22.js"}) {
      for (const std::uint16_t types : {TYPES_ELEMENT, TYPE_POPUP}) {
        const Verdict verdict = rules.Judge({page, url, types});
        rules.OriginOf(verdict.rule);
      }
    }
  }
  rules.IsAdSize(17, 18);
  rules.IsAdSize(9999, 1);
  DescribeRules(rules);
}

/// Opens the bytes as if they came from a file and asks; they lie in memory of just their size, so
/// that the address sanitizer sees a read beyond them.
bool AskBytes(const std::string &bytes) {
  const std::shared_ptr<char[]> exact(new char[bytes.size()]);
  std::memcpy(exact.get(), bytes.data(), bytes.size());
  auto image = Image::Open({{exact.get(), bytes.size()}, exact});
  if (!image) return false;
  AskEverything(Ruleset(*std::move(image)));
  return true;
}

/// Makes the fingerprint right again, as somebody would who wants the file to be believed.
void Forge(std::string *bytes) {
  const Fingerprint content = FingerprintOf(std::string_view(*bytes).substr(IMAGE_UNFINGERPRINTED));
  std::memcpy(bytes->data() + offsetof(ImageHeader, content), &content, sizeof content);
}

TEST(Cache, IsUsedAsLongAsTheListsStayTheSame) {
  const TemporaryDirectory folder;
  const std::string cache = folder.Path("deep/cache");
  const auto lists = Lists({std::string(RULES)});
  EXPECT_FALSE(LoadRules(lists, cache).from_cache);
  const LoadedRules again = LoadRules(lists, cache);
  EXPECT_TRUE(again.from_cache);
  EXPECT_EQ(NameOf(again.rules->Judge({"p.com", "http://ads.example/"})), "blocked");
  EXPECT_EQ(again.rules->OriginOf(0).text, "||ads.example^$third-party");

  auto changed = lists;
  changed[0].text += "/more.\n";
  EXPECT_FALSE(LoadRules(changed, cache).from_cache);
  EXPECT_TRUE(LoadRules(changed, cache).from_cache);
  // The same text, whose last byte went to another list.
  EXPECT_FALSE(LoadRules(Lists({std::string(RULES), ""}), cache).from_cache);
  EXPECT_FALSE(LoadRules(lists, "").from_cache);
}

TEST(Cache, ThatCannotBeWrittenIsDoneWithout) {
  const TemporaryDirectory folder;
  const std::string file = folder.Write("file", "");
  const LoadedRules loaded = LoadRules(Lists({std::string(RULES)}), file);
  EXPECT_FALSE(loaded.from_cache);
  EXPECT_EQ(NameOf(loaded.rules->Judge({"p.com", "http://ads.example/"})), "blocked");
}

TEST(Cache, ThatIsDamagedOrForeignIsMadeAnew) {
  const TemporaryDirectory folder;
  const auto lists = Lists({std::string(RULES)});
  LoadRules(lists, folder.path());
  const std::string file = CacheFile(folder.path(), lists);
  const std::string good = ReadBytes(file);
  const auto write = [&](const std::string &bytes) {
    std::filesystem::remove(file);
    std::ofstream(file, std::ios::binary) << bytes;
  };
  const auto changed = [&](std::size_t at, std::uint8_t by) {
    std::string bytes = good;
    bytes[at] = static_cast<char>(bytes[at] ^ by);
    return bytes;
  };
  auto other = lists;
  other[0].text += "/other.\n";

  std::vector<std::string> bad = {"",
                                  "not a cache",
                                  std::string(good.size(), '\0'),
                                  good + "x",
                                  good.substr(1),
                                  changed(0, 1),                               // no such file
                                  changed(offsetof(ImageHeader, version), 2),  // other version
                                  changed(offsetof(ImageHeader, byte_order), 1),
                                  changed(offsetof(ImageHeader, source), 1),
                                  changed(good.size() - 1, 0x80),
                                  CompileLists(other)};
  for (std::size_t size = 0; size < good.size(); size += 97) bad.push_back(good.substr(0, size));
  for (const std::string &bytes : bad) {
    write(bytes);
    EXPECT_FALSE(LoadRules(lists, folder.path()).from_cache) << bytes.size();
    EXPECT_EQ(ReadBytes(file), good);
  }
  EXPECT_TRUE(LoadRules(lists, folder.path()).from_cache);
}

TEST(Cache, ThatAnybodyCouldHavePutThereIsMadeAnew) {
  using std::filesystem::perms;
  const TemporaryDirectory folder;
  const auto lists = Lists({std::string(RULES)});
  LoadRules(lists, folder.path());
  const std::string file = CacheFile(folder.path(), lists);
  EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read);
  const std::string elsewhere = folder.Path("elsewhere");

  struct Case {
    const char *what;
    std::function<void()> put;
    bool is_replaced = true;
  };
  std::vector<Case> cases = {
      {"writable by all",
       [&] { std::filesystem::permissions(file, perms::owner_read | perms::others_write); }},
      {"writable by its group",
       [&] { std::filesystem::permissions(file, perms::owner_read | perms::group_write); }},
      {"a link to a good file",
       [&] {
         std::filesystem::rename(file, elsewhere);
         std::filesystem::create_symlink(elsewhere, file);
       }},
      {"a link to nothing",
       [&] {
         std::filesystem::remove(file);
         std::filesystem::create_symlink(folder.Path("nothing"), file);
       }},
      {"a pipe",
       [&] {
         std::filesystem::remove(file);
         ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
       }},
      {"a folder",
       [&] {
         std::filesystem::remove(file);
         std::filesystem::create_directory(file);
       },
       false}};
  if (geteuid() == 0) {
    cases.insert(cases.begin(),
                 {"another user's", [&] { ASSERT_EQ(chown(file.c_str(), 12345, getegid()), 0); }});
  }
  for (const Case &test : cases) {
    ASSERT_TRUE(LoadRules(lists, folder.path()).from_cache) << test.what;
    test.put();
    const LoadedRules loaded = LoadRules(lists, folder.path());
    EXPECT_FALSE(loaded.from_cache) << test.what;
    EXPECT_EQ(NameOf(loaded.rules->Judge({"p.com", "http://ads.example/"})), "blocked")
        << test.what;
    EXPECT_EQ(LoadRules(lists, folder.path()).from_cache, test.is_replaced) << test.what;
  }
}

TEST(Image, IsReadWithinItsBytesWhateverTheySay) {
  const std::string good = CompileLists(Lists({std::string(RULES)}));
  ASSERT_TRUE(AskBytes(good));
  // Every word of the header and of the records, with values that point just and far outside.
  int opened = 0;
  for (std::size_t at = IMAGE_UNFINGERPRINTED; at + 4 <= good.size(); at += 4) {
    for (const std::uint32_t value : {0U, 1U, 0x7FU, 0xFFFFU, 0x7FFFFFFFU, 0x80000000U, ~0U,
                                      static_cast<std::uint32_t>(good.size())}) {
      std::string bytes = good;
      std::memcpy(bytes.data() + at, &value, sizeof value);
      Forge(&bytes);
      opened += AskBytes(bytes);
    }
  }
  EXPECT_GT(opened, 1000);
}

TEST(Image, WithRandomBytesIsHarmless) {
  const std::string good = CompileLists(Lists({std::string(RULES)}));
  std::mt19937 random(11);
  for (int count = 0; count < 3000; ++count) {
    std::string bytes = good;
    for (auto flips = 1 + random() % 60; flips > 0; --flips) {
      const std::size_t at =
          IMAGE_UNFINGERPRINTED + random() % (bytes.size() - IMAGE_UNFINGERPRINTED);
      bytes[at] = static_cast<char>(random());
    }
    Forge(&bytes);
    AskBytes(bytes);
  }
}

}  // namespace
}  // namespace velmora::adblock::testing
