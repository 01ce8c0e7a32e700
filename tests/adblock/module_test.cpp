// libvexlar.so through its binary interface, as the plug-in and a host use it.
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include <velmora/ad_blocker.h>
#include <velmora/module.h>

#include "support/loaded_module.h"
#include "support/scoped_variable.h"
#include "support/temporary_directory.h"
#include "vexlar/requests.h"
#include "vexlar/vexlar.h"

namespace velmora {
namespace {

class Vexlar : public ::testing::Test {
 protected:
  Vexlar() : cache_("XDG_CACHE_HOME", folder_.Path("cache").c_str()) {}

  void MakeBlocker(const std::string &lists) {
    ASSERT_EQ(use_lists_(folder_.Write("list.txt", lists).c_str()), RESULT_OK);
    blocker_ = library_.Make<IAdBlocker>(ID_AdBlocker);
    ASSERT_TRUE(blocker_);
  }

  /// Answer, exempt flag and text of a question about a URL.
  std::string Ask(const char *host, const char *url, std::size_t size = AD_TEXT_SIZE) {
    char text[AD_TEXT_SIZE] = "-";
    bool exempt = false;
    const int answer = blocker_->CheckUrl(host, url, text, size, &exempt);
    return std::to_string(answer) + (exempt ? " exempt " : " ") + text;
  }
  std::string AskText(const std::string &piece) {
    char text[AD_TEXT_SIZE] = "-";
    bool exempt = false;
    // Without a NUL after it.
    std::string exact = piece;
    const int answer = blocker_->CheckUrlText("www.site.example", exact.data(),
                                              static_cast<std::uint32_t>(exact.size()), text,
                                              sizeof text, &exempt);
    return std::to_string(answer) + (exempt ? " exempt " : " ") + text;
  }

  const testing::TemporaryDirectory folder_;
  const testing::ScopedVariable cache_;
  const testing::LoadedModule library_{VEXLAR_LIBRARY};
  CountedPointer<IAdBlocker> blocker_;
  decltype(&VexlarUseLists) use_lists_ = library_.Find<decltype(&VexlarUseLists)>("VexlarUseLists");
  decltype(&VexlarReload) reload_ = library_.Find<decltype(&VexlarReload)>("VexlarReload");
  decltype(&VexlarDescribe) describe_ = library_.Find<decltype(&VexlarDescribe)>("VexlarDescribe");
};

TEST_F(Vexlar, IsFoundByItsName) {
  void *found = dlopen(AD_LIBRARY_NAME, RTLD_NOW | RTLD_NOLOAD);
  EXPECT_EQ(found, library_.handle());
  if (found) dlclose(found);
}

TEST_F(Vexlar, FollowsTheModuleContract) {
  const auto get_factory = library_.Find<GetFactoryFunction>(EXPORT_GET_FACTORY);
  auto *untouched = reinterpret_cast<IDataProcessorFactory *>(1);
  EXPECT_EQ(get_factory(&ID_ProcessorObject, &untouched), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(untouched, reinterpret_cast<IDataProcessorFactory *>(1));

  MakeBlocker("||ads.example^\n");
  const auto factory = library_.Factory();
  void *object = &object;
  EXPECT_EQ(factory->CreateInstance(&ID_DataProcessor, &object), RESULT_NO_INTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(factory->CreateInstance(&ID_AdBlocker, nullptr), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(factory->QueryInterface(&ID_Factory, &object), RESULT_OK);
  EXPECT_EQ(factory->Release(), 1);

  EXPECT_EQ(blocker_->QueryInterface(&ID_Unknown, &object), RESULT_OK);
  EXPECT_EQ(object, blocker_.get());
  EXPECT_EQ(blocker_->AddRef(), 3);
  EXPECT_EQ(blocker_->Release(), 2);
  EXPECT_EQ(blocker_->Release(), 1);
  EXPECT_EQ(blocker_->QueryInterface(&ID_Factory, &object), RESULT_NO_INTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(blocker_->IsReady(), 1);
}

TEST_F(Vexlar, AnswersWithTheRule) {
  MakeBlocker("||ads.example^\n@@||ads.example/good^\n/pop.$popup\n");
  EXPECT_EQ(Ask("www.site.example", "http://ads.example/x"), "1 ||ads.example^");
  EXPECT_EQ(Ask("www.site.example", "http://ads.example/x", 6), "1 ||ads");
  EXPECT_EQ(Ask("www.site.example", "http://ads.example/x", 0), "1 -");
  EXPECT_EQ(Ask("www.site.example", "http://ads.example/good/x"), "0 exempt -");
  EXPECT_EQ(Ask("www.site.example", "http://other.example/"), "0 -");
  EXPECT_EQ(Ask("", "http://ads.example/"), "1 ||ads.example^");
  EXPECT_EQ(blocker_->CheckUrl(nullptr, nullptr, nullptr, 0, nullptr), 0);
  EXPECT_EQ(blocker_->CheckSize("www.site.example", 468, 60), 1);
  EXPECT_EQ(blocker_->CheckSize("www.site.example", 1, 1), 0);
  EXPECT_EQ(blocker_->CheckLink("http://a.example/pop.htm", "www.site.example", ""), 1);
  EXPECT_EQ(blocker_->CheckLink("http://ads.example/", "www.site.example", ""), 0);
}

// The plug-in takes a secure URL for the name of a file beside the page.
TEST_F(Vexlar, SeesSecureUrlsBehindThePagesFolder) {
  MakeBlocker("[Adblock]\n||ads.example^\n/banner.$domain=www.site.example\n");
  EXPECT_EQ(Ask("www.site.example", "http://www.site.example/dir/https://ads.example/x"),
            "1 ||ads.example^");
  EXPECT_EQ(Ask("www.site.example", "https://WWW.site.example:81/HTTPS://ads.example/x"),
            "1 ||ads.example^");
  // Other hosts' URLs mean what they say, and so do URLs within a query.
  EXPECT_EQ(Ask("www.site.example", "http://x.example/dir/https://ads.example/x"), "0 -");
  EXPECT_EQ(Ask("www.site.example", "http://www.site.example.net/https://ads.example/"), "0 -");
  EXPECT_EQ(Ask("www.site.example", "http://www.site.example/?u=https://ads.example/"), "0 -");
  EXPECT_EQ(Ask("", "http://www.site.example/https://ads.example/"), "0 -");
  // Nobody has a URL of thousands of bytes looked through for another.
  const std::string_view rest = "/https://ads.example/x";
  for (const auto &[length, answer] : {std::pair{10'000, "1 ||ads.example^"}, {20'000, "0 -"}}) {
    std::string folder = "http://www.site.example/" + std::string(length, 'd');
    EXPECT_EQ(Ask("www.site.example", folder.append(rest).c_str()), answer) << length;
  }
}

TEST_F(Vexlar, FindsUrlsThatBeginInText) {
  MakeBlocker("||ads.example^\n@@||good.example^\n");
  EXPECT_EQ(AskText("http://ads.example/x' + y"), "1 ||ads.example^");
  EXPECT_EQ(AskText("//ads.example/x"), "1 ||ads.example^");
  EXPECT_EQ(AskText("https://good.example"), "0 exempt -");
  EXPECT_EQ(AskText(" http://ads.example/"), "0 -");
  EXPECT_EQ(AskText("http://x.example/ http://ads.example/"), "0 -");
  EXPECT_EQ(AskText("http://x.example\\ads.example/"), "0 -");
  EXPECT_EQ(AskText("h"), "0 -");
  EXPECT_EQ(AskText(""), "0 -");
  EXPECT_EQ(AskText("//ads.example/" + std::string(100000, 'x')), "1 ||ads.example^");
}

TEST_F(Vexlar, JudgesRequestsByTheirType) {
  MakeBlocker(
      "[Adblock]\n||ads.example^$script\n||ads.example^$xhr,method=post,3p\n"
      "@@||ads.example/good^\n||bad.example^$document\n/pic.$important,image,1p\n");
  const auto type_of = library_.Find<decltype(&VexlarTypeOfName)>("VexlarTypeOfName");
  const auto judge = library_.Find<decltype(&VexlarJudge)>("VexlarJudge");
  EXPECT_EQ(type_of("nothing"), 0U);
  EXPECT_EQ(type_of(nullptr), 0U);
  struct {
    const char *type;
    const char *url;
    const char *page;
    const char *method;
    const char *answer;
  } cases[] = {
      {"script", "https://ads.example/x", "https://site.example/p", "GET",
       "1 2 ||ads.example^$script"},
      {"image", "https://ads.example/x", "https://site.example/p", "GET", "0 0 "},
      {"xhr", "https://ads.example/x", "https://site.example/p", "POST",
       "1 3 ||ads.example^$xhr,method=post,3p"},
      {"xhr", "https://ads.example/x", "https://site.example/p", "", "0 0 "},
      {"script", "https://ads.example/good", "", "", "2 4 @@||ads.example/good^"},
      {"document", "https://bad.example/", "", "GET", "1 5 ||bad.example^$document"},
      {"image", "wss://site.example/pic.gif", "site.example", "", "1 6 /pic.$important,image,1p"},
      {"script", "/x", "https://site.example/p", "GET", "0 0 "},
  };
  for (const auto &c : cases) {
    // Without NULs after them.
    const std::string url = std::string(c.url) + "?", page = std::string(c.page) + "?";
    const VexlarRequest request{sizeof request, type_of(c.type), url.data(), url.size() - 1,
                                page.data(),    page.size() - 1, c.method,   std::strlen(c.method)};
    VexlarReason reason{sizeof reason, 9, "?", "?"};
    std::ostringstream answer;
    answer << judge(&request, &reason) << " " << reason.line << " " << reason.rule;
    EXPECT_EQ(answer.str(), c.answer) << c.type << " " << c.url << " on " << c.page;
    EXPECT_EQ(std::string(reason.list).ends_with("list.txt"), reason.line != 0);
    EXPECT_EQ(judge(&request, nullptr), c.answer[0] - '0');
  }
  EXPECT_EQ(judge(nullptr, nullptr), VEXLAR_NONE);
}

TEST_F(Vexlar, AddsToListsAndTellsWhereRulesComeFrom) {
  MakeBlocker("||replaced.example^\n");
  const std::string lists[] = {folder_.Write("main.txt", "||one.example^\n||two.example^\n/(/\n"),
                               folder_.Write("extra.txt", "||two.example^\n##.ad\nsize:1x2\n")};
  const std::string missing = folder_.Path("missing.txt");
  const char *const main[] = {lists[0].c_str(), missing.c_str()};
  const char *const extra[] = {lists[1].c_str()};
  const char *const rules[] = {"own.example", "@@||one.example/good^"};
  VexlarChoice choice{sizeof choice, 2, 1, 2, main, extra, rules, "policy.toml"};
  const auto use = library_.Find<decltype(&VexlarUse)>("VexlarUse");
  EXPECT_EQ(use(nullptr), RESULT_INVALID_ARGUMENT);
  ASSERT_EQ(use(&choice), RESULT_OK);
  EXPECT_EQ(Ask("p.example", "http://replaced.example/"), "0 -");
  EXPECT_EQ(Ask("p.example", "http://one.example/good"), "0 exempt -");
  EXPECT_EQ(Ask("p.example", "http://own.example/"), "1 own.example");

  std::string told;
  const std::uint32_t rule_count = library_.Find<decltype(&VexlarVisitLists)>("VexlarVisitLists")(
      [](void *context, const VexlarList *list) {
        std::ostringstream line;
        line << std::filesystem::path(list->name).filename().string() << " " << list->origin << ": "
             << list->lines << " lines, " << list->rules << " rules, " << list->repeated
             << " repeated, " << list->skipped << " skipped, " << list->unreadable
             << " unreadable, " << list->sizes << " sizes\n";
        *static_cast<std::string *>(context) += line.str();
      },
      &told);
  EXPECT_EQ(told,
            "main.txt 1: 3 lines, 2 rules, 0 repeated, 1 skipped, 1 unreadable, 0 sizes\n"
            "extra.txt 4: 3 lines, 0 rules, 1 repeated, 1 skipped, 0 unreadable, 1 sizes\n"
            "policy.toml 5: 2 lines, 2 rules, 0 repeated, 0 skipped, 0 unreadable, 0 sizes\n");
  EXPECT_EQ(rule_count, 4U);
  std::string problems;
  EXPECT_EQ(library_.Find<decltype(&VexlarVisitProblems)>("VexlarVisitProblems")(
                [](void *context, const char *problem) {
                  *static_cast<std::string *>(context) += problem;
                },
                &problems),
            1U);
  EXPECT_NE(problems.find("missing.txt: No such file"), std::string::npos);
}

TEST_F(Vexlar, OpensRulesThatAreAskedByThemselves) {
  MakeBlocker("||all.example^\n");
  const std::string list = folder_.Write("own.txt", "||listed.example^\n");
  const std::string missing = folder_.Path("missing.txt");
  const auto open = library_.Find<decltype(&VexlarOpen)>("VexlarOpen");
  const auto close = library_.Find<decltype(&VexlarClose)>("VexlarClose");
  const auto judge_by = library_.Find<decltype(&VexlarJudgeBy)>("VexlarJudgeBy");
  const char *const lists[] = {list.c_str(), missing.c_str()};
  const char *const rules[] = {"||own.example^", "@@||all.example^"};
  VexlarChoice choice{sizeof choice, 1, 0, 2, lists, nullptr, rules, "a rule"};
  VexlarRules *const opened = open(&choice);
  ASSERT_NE(opened, nullptr);
  const auto judge = [&](const VexlarRules *by, const std::string &url) {
    const VexlarRequest request{
        sizeof request, VEXLAR_TYPE_SCRIPT, url.data(), url.size(), nullptr, 0, nullptr, 0};
    VexlarReason reason{sizeof reason, 9, "?", "?"};
    const VexlarVerdict verdict = judge_by(by, &request, &reason);
    return std::to_string(verdict) + " " + reason.rule;
  };
  EXPECT_EQ(judge(opened, "http://own.example/"), "1 ||own.example^");
  EXPECT_EQ(judge(opened, "http://listed.example/"), "1 ||listed.example^");
  EXPECT_EQ(judge(opened, "http://all.example/"), "2 @@||all.example^");
  EXPECT_EQ(judge(opened, "http://other.example/"), "0 ");
  EXPECT_EQ(judge(nullptr, "http://own.example/"), "0 ");
  EXPECT_EQ(Ask("p.example", "http://own.example/"), "0 -");
  close(opened);
  close(nullptr);
  EXPECT_EQ(open(nullptr), nullptr);
  choice.list_count = 2;
  EXPECT_EQ(open(&choice), nullptr) << "a list that is not there";
  choice.list_count = choice.rule_count = 0;
  EXPECT_EQ(open(&choice), nullptr) << "no rule, and none of the system's";
}

TEST_F(Vexlar, ReloadsAndDescribes) {
  MakeBlocker("||one.example^\n");
  folder_.Write("list.txt", "||two.example^\n/a(?=b)/\n");
  EXPECT_EQ(reload_(), RESULT_OK);
  EXPECT_EQ(Ask("p.example", "http://one.example/"), "0 -");
  EXPECT_EQ(Ask("p.example", "http://two.example/"), "1 ||two.example^");

  EXPECT_EQ(use_lists_(folder_.Path("missing").c_str()), RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(Ask("p.example", "http://two.example/"), "1 ||two.example^");
  char text[4096];
  const std::uint32_t length = describe_(text, sizeof text);
  ASSERT_LT(length, sizeof text);
  EXPECT_EQ(std::string(text).size(), length);
  for (const char *part :
       {"list.txt", "rules in force", "skipped: expression", "468x60", "missing: No such file"}) {
    EXPECT_NE(std::string(text).find(part), std::string::npos) << part << "\n" << text;
  }
  char cut[5];
  EXPECT_EQ(describe_(cut, sizeof cut), length);
  EXPECT_EQ(std::string(cut), std::string(text).substr(0, 4));
  EXPECT_EQ(describe_(nullptr, 0), length);

  // The system's lists, or the built-in one.
  EXPECT_EQ(use_lists_(nullptr), RESULT_OK);
  EXPECT_EQ(Ask("p.example", "http://ad.doubleclick.net/x").substr(0, 1), "1");
}

}  // namespace
}  // namespace velmora
