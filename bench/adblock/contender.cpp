// A contender of the comparison: any build of the ad-blocking library, asked through what it
// exports.
//
//   bench_ad_library LIBRARY QUESTIONS SCRIPTS CACHE LIST...             answers rows
//   bench_ad_library --answers LIBRARY QUESTIONS SCRIPTS CACHE LIST...   all answers, a line each
//
// QUESTIONS has lines "TYPE<tab>PAGE HOST<tab>URL". Compiled lists are kept in the folder
// CACHE; one that cannot be is as none. Lists are loaded when the first row wants them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <velmora/ad_blocker.h>

#include "base/modules.h"
#include "rows.h"
#include "vexlar/requests.h"
#include "vexlar/vexlar.h"

namespace velmora::bench {
namespace {

struct Asked {
  std::string type;
  std::string page_host;
  std::string url;
};

std::vector<Asked> ReadQuestions(const char *file) {
  std::vector<Asked> questions;
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    const std::size_t first = line.find('\t');
    const std::size_t second = line.find('\t', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    questions.push_back({line.substr(0, first), line.substr(first + 1, second - first - 1),
                         line.substr(second + 1)});
  }
  return questions;
}

[[noreturn]] void Fail(const char *what) {
  std::printf("%s\n", what);
  std::exit(1);
}

/// The library and its lists.
class Library {
 public:
  Library(const char *file, std::string lists) : lists_(std::move(lists)) {
    module_ = base::LoadModule(file);
    if (!module_) Fail(dlerror());
    use_lists_ = reinterpret_cast<UseLists>(Find("VexlarUseLists"));
    judge_ = reinterpret_cast<Judge>(Find("VexlarJudge"));
    type_of_name_ = reinterpret_cast<TypeOfName>(Find("VexlarTypeOfName"));
  }

  void Load() const {
    if (!use_lists_ || use_lists_(lists_.c_str()) != RESULT_OK) Fail("the lists were not loaded");
  }

  IAdBlocker &Blocker() {
    if (!blocker_) {
      Load();
      const base::FactoryAnswer answer =
          base::AskForFactory(EXPORT_IDENTIFIER, [this](const char *name) { return Find(name); });
      void *object = nullptr;
      if (!answer.factory || answer.factory->CreateInstance(&ID_AdBlocker, &object) != RESULT_OK) {
        Fail("the library makes no object");
      }
      blocker_ = static_cast<IAdBlocker *>(object);
    }
    return *blocker_;
  }

  bool JudgesRequests() const { return judge_ && type_of_name_; }
  std::uint32_t TypeNamed(const std::string &name) const { return type_of_name_(name.c_str()); }
  VexlarVerdict JudgeRequest(const Asked &asked, std::uint32_t type, VexlarReason *reason) const {
    constexpr std::string_view METHOD = "GET";
    const VexlarRequest request{sizeof request,         type,
                                asked.url.data(),       asked.url.size(),
                                asked.page_host.data(), asked.page_host.size(),
                                METHOD.data(),          METHOD.size()};
    return judge_(&request, reason);
  }

 private:
  using UseLists = decltype(&VexlarUseLists);
  using Judge = decltype(&VexlarJudge);
  using TypeOfName = decltype(&VexlarTypeOfName);
  static constexpr char EXPORT_IDENTIFIER[] = "Ordinal_3";

  void *Find(const char *name) const { return dlsym(module_, name); }

  const std::string lists_;
  void *module_ = nullptr;
  UseLists use_lists_ = nullptr;
  Judge judge_ = nullptr;
  TypeOfName type_of_name_ = nullptr;
  IAdBlocker *blocker_ = nullptr;
};

/// What an answer comes with.
struct Reply {
  char text[AD_TEXT_SIZE];
  bool exempt = false;
};

/// Asks at every byte of the scripts, as the plug-in does within strings.
std::size_t AskEverywhere(IAdBlocker &blocker, const std::vector<std::string> &scripts,
                          std::uint32_t length_mask) {
  std::size_t bytes = 0;
  Reply reply;
  for (const std::string &script : scripts) {
    const char *const end = script.data() + script.size();
    for (const char *at = script.data(); at < end; ++at) {
      const auto length = static_cast<std::uint32_t>(end - at) & length_mask;
      Keep(blocker.CheckUrlText("www.page.example", at, length, reply.text, sizeof reply.text,
                                &reply.exempt));
    }
    bytes += script.size();
  }
  return bytes;
}

Rows RowsOf(Library &library, const std::vector<Asked> &questions,
            const std::vector<std::string> &scripts, std::size_t list_bytes) {
  Rows rows;
  rows["nothing"] = [] { return std::size_t{1}; };
  rows["questions"] = [&] {
    IAdBlocker &blocker = library.Blocker();
    Reply reply;
    for (const Asked &asked : questions) {
      Keep(blocker.CheckUrl(asked.page_host.c_str(), asked.url.c_str(), reply.text,
                            sizeof reply.text, &reply.exempt));
    }
    return questions.size();
  };
  if (library.JudgesRequests()) {
    std::vector<std::uint32_t> types;
    for (const Asked &asked : questions) types.push_back(library.TypeNamed(asked.type));
    rows["typed questions"] = [&, types] {
      library.Blocker();
      VexlarReason reason;
      reason.size = sizeof reason;
      for (std::size_t at = 0; at < questions.size(); ++at) {
        Keep(library.JudgeRequest(questions[at], types[at], &reason));
      }
      return questions.size();
    };
  }
  rows["script text"] = [&] { return AskEverywhere(library.Blocker(), scripts, ~0U); };
  rows["script text, calls alone"] = [&] { return AskEverywhere(library.Blocker(), scripts, 0); };
  rows["load"] = [&, list_bytes] {
    library.Load();
    return list_bytes;
  };
  return rows;
}

void PrintAnswers(Library &library, const std::vector<Asked> &questions,
                  const std::vector<std::string> &scripts) {
  IAdBlocker &blocker = library.Blocker();
  Reply reply;
  for (const Asked &asked : questions) {
    reply = {};
    const int answer = blocker.CheckUrl(asked.page_host.c_str(), asked.url.c_str(), reply.text,
                                        sizeof reply.text, &reply.exempt);
    std::printf("%s\t%s\t%d%s\t%s\n", asked.page_host.c_str(), asked.url.c_str(), answer,
                reply.exempt ? " exempt" : "", reply.text);
  }
  for (const std::string &script : scripts) {
    for (std::size_t at = 0; at < script.size(); ++at) {
      reply = {};
      const int answer = blocker.CheckUrlText("www.page.example", script.data() + at,
                                              static_cast<std::uint32_t>(script.size() - at),
                                              reply.text, sizeof reply.text, &reply.exempt);
      if (answer == 0 && !reply.exempt) continue;
      std::printf("script\t%zu\t%d%s\t%s\n", at, answer, reply.exempt ? " exempt" : "", reply.text);
    }
  }
  for (int size = 0; size < 1 << 20; ++size) {
    if (blocker.CheckSize("www.page.example", size >> 10, size & 1023)) {
      std::printf("size\t%dx%d\n", size >> 10, size & 1023);
    }
  }
}

int Run(std::vector<const char *> arguments) {
  const bool answers = !arguments.empty() && std::string_view(arguments[0]) == "--answers";
  if (answers) arguments.erase(arguments.begin());
  if (arguments.size() < 5) {
    std::fputs("bench_ad_library [--answers] LIBRARY QUESTIONS SCRIPTS CACHE LIST...\n", stderr);
    return 2;
  }
  setenv("XDG_CACHE_HOME", arguments[3], 1);
  unsetenv("VEXLAR_LISTS");
  std::string lists;
  std::size_t list_bytes = 0;
  for (std::size_t at = 4; at < arguments.size(); ++at) {
    lists.append(lists.empty() ? "" : ":").append(arguments[at]);
    list_bytes += std::filesystem::file_size(arguments[at]);
  }
  Library library(arguments[0], lists);
  const std::vector<Asked> questions = ReadQuestions(arguments[1]);
  std::vector<std::string> scripts = ReadFiles(std::string(arguments[2]) + "/plain", ".js");
  for (std::string &script : ReadFiles(std::string(arguments[2]) + "/minified", ".js")) {
    scripts.push_back(std::move(script));
  }
  if (answers) {
    PrintAnswers(library, questions, scripts);
  } else {
    AnswerRows(RowsOf(library, questions, scripts, list_bytes));
  }
  return 0;
}

}  // namespace
}  // namespace velmora::bench

int main(int count, char **arguments) {
  return velmora::bench::Run({arguments + 1, arguments + count});
}
