// How fast scripts are lexed and examined, in bytes of source a second: see README.md.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <velmora/velmora.h>

#include "core/ad_blocking.h"
#include "core/counted_pointer.h"
#include "script/data_script.h"

namespace {

using namespace velmora;

/// Small sets are repeated until they have this size.
constexpr std::size_t SMALLEST_SET = 4U << 20;

/// A context with every category on that does not block scripts whole, or with none on.
class Context final : public IDataContext {
 public:
  explicit Context(bool everything) : everything_(everything) {}
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override { return 1; }
  const char *GetProperty(std::int32_t) noexcept override { return "www.example.com"; }
  const char *GetSetting(const char *) noexcept override { return nullptr; }
  bool IsCategoryEnabled(std::int32_t category) noexcept override {
    return everything_ && category != CATEGORY_JAVASCRIPT && category != CATEGORY_VBSCRIPT;
  }
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override { return block_; }
  void ReportBlocked(std::int32_t, std::int32_t, const char *, const char *) noexcept override {}

 private:
  bool everything_;
  std::vector<std::uint8_t> block_;
};

/// Answers no to everything.
class Library final : public IAdBlocker {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override { return 1; }
  std::uint8_t IsReady() noexcept override { return 1; }
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *, const char *, char *, std::size_t, bool *) noexcept override {
    return 0;
  }
  std::uint8_t CheckUrlText(const char *, const char *, std::uint32_t, char *, std::size_t,
                            bool *) noexcept override {
    return 0;
  }
  std::uint8_t CheckSize(const char *, std::int32_t, std::int32_t) noexcept override { return 0; }
  std::uint8_t CheckLink(const char *, const char *, const char *) noexcept override { return 0; }
};

/// A body that is not edited.
class Buffer final : public IDataBuffer {
 public:
  explicit Buffer(std::string &bytes) : bytes_(bytes) {}
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override { return 1; }
  std::uint8_t *GetData() noexcept override {
    return reinterpret_cast<std::uint8_t *>(bytes_.data());
  }
  std::uint32_t GetSize() noexcept override { return static_cast<std::uint32_t>(bytes_.size()); }
  std::uint32_t GetCommitted() noexcept override { return 0; }
  void SetCommitted(std::uint32_t) noexcept override {}
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t, std::uint32_t, const std::uint8_t *,
               std::uint32_t) noexcept override {}

 private:
  std::string &bytes_;
};

/// The scripts of one folder, in one language.
struct Set {
  std::string name;
  bool is_vbscript;
  std::vector<std::string> scripts;

  std::size_t Size() const {
    std::size_t size = 0;
    for (const std::string &script : scripts) size += script.size();
    return size;
  }
  TokenListPointer Lex(std::string &script) const {
    const Lexer lexer = is_vbscript ? LexVBScript : LexJavaScript;
    return TokenListPointer(lexer(&OS_SERVICES, &OS_SERVICES, script.data(), 0, 0, 0, 0,
                                  static_cast<std::uint32_t>(script.size()), nullptr, 0));
  }
  const ScriptCategories &Categories() const {
    return is_vbscript ? VBSCRIPT_CATEGORIES : JAVASCRIPT_CATEGORIES;
  }
};

Set ReadSet(const std::filesystem::path &folder, const std::string &name, bool is_vbscript) {
  std::set<std::filesystem::path> paths;
  for (const auto &entry : std::filesystem::directory_iterator(folder / name)) {
    paths.insert(entry.path());
  }
  Set set{name, is_vbscript, {}};
  for (const auto &path : paths) {
    std::ifstream file(path, std::ios::binary);
    set.scripts.emplace_back(std::istreambuf_iterator<char>(file),
                             std::istreambuf_iterator<char>());
  }
  // All files in one, over and over.
  if (const std::size_t size = set.Size(); size > 0 && size < SMALLEST_SET / 2) {
    std::string all;
    for (const std::string &script : set.scripts) all += script + "\n";
    std::string script;
    while (script.size() < SMALLEST_SET) script += all;
    set.scripts = {script};
  }
  return set;
}

struct Token {
  TokenCode code;
  std::string text;
};

std::vector<Token> Tokens(CScriptTokenList *list) {
  std::vector<Token> tokens(CScriptTokenList::Count(list));
  for (std::uint32_t i = 0; i < tokens.size(); ++i) {
    CScriptTokenList::CodeAt(list, i, &tokens[i].code);
    std::uint32_t length = 0;
    std::uint32_t position = 0;
    if (CScriptTokenList::TextAt(list, i, &length, &position) != LEX_OK) continue;
    if (!CScriptTokenList::HoldsText(list, position, length)) continue;
    tokens[i].text.resize(length);
    CScriptTokenList::ReadText(list, tokens[i].text.data(), position, length);
  }
  return tokens;
}

using Work = std::function<void(std::size_t index)>;

void Register(const std::string &stage, const Set &set, const Work &work) {
  benchmark::RegisterBenchmark((stage + "/" + set.name).c_str(), [&set,
                                                                  work](benchmark::State &state) {
    for (auto _ : state) {
      for (std::size_t i = 0; i < set.scripts.size(); ++i) work(i);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(set.Size()) *
                            static_cast<std::int64_t>(state.iterations()));
  })->Unit(benchmark::kMillisecond);
}

void RegisterWhole(const std::string &stage, Set &set, const AdBlocking &ads, Context &context) {
  Register(stage, set, [&set, &ads, &context](std::size_t index) {
    const CountedPointer<IDataProcessor> handler(
        set.is_vbscript ? static_cast<IDataProcessor *>(new CDataVBS(ads)) : new CDataJS(ads));
    handler->SetContext(&context);
    Buffer buffer(set.scripts[index]);
    handler->ProcessData(&buffer, 0, buffer.GetSize(), DATA_FLAG_START | DATA_FLAG_END);
  });
}

}  // namespace

int main(int count, char **arguments) {
  benchmark::Initialize(&count, arguments);
  if (count != 2) {
    std::fprintf(stderr, "usage: bench_script FOLDER [--benchmark_...]\n");
    return 2;
  }
  const std::filesystem::path folder = arguments[1];
  std::vector<Set> sets;
  sets.push_back(ReadSet(folder, "minified", false));
  sets.push_back(ReadSet(folder, "plain", false));
  sets.push_back(ReadSet(folder, "vbs", true));

  Context everything(true);
  Context nothing(false);
  Library library;
  const AdBlocking unbound;
  const AdBlocking bound(&library);
  std::vector<std::vector<TokenListPointer>> lists(sets.size());
  std::vector<std::vector<std::vector<Token>>> tokens(sets.size());
  for (std::size_t k = 0; k < sets.size(); ++k) {
    Set &set = sets[k];
    for (std::string &script : set.scripts) {
      lists[k].push_back(set.Lex(script));
      tokens[k].push_back(Tokens(lists[k].back().get()));
    }
    Register("lex", set, [&set](std::size_t index) { set.Lex(set.scripts[index]); });
    Register("list", set, [&tokens = tokens[k]](std::size_t index) {
      CScriptTokenList *list = nullptr;
      CScriptTokenList::Create(&OS_SERVICES, &list, 0, 0);
      for (const Token &token : tokens[index]) {
        if (CarriesText(token.code)) {
          CScriptTokenList::AppendText(list, token.code, token.text.data(),
                                       static_cast<std::uint32_t>(token.text.size()));
        } else {
          CScriptTokenList::AppendCode(list, token.code);
        }
      }
      CScriptTokenList::Destroy(list);
    });
    for (const AdBlocking *ads : {&unbound, &bound}) {
      Register(ads == &bound ? "scan_asking" : "scan", set,
               [&set, &everything, ads, &list = lists[k]](std::size_t index) {
                 ScanScriptStrings(everything, *ads, set.Categories(), list[index].get());
               });
    }
    RegisterWhole("whole", set, unbound, everything);
    RegisterWhole("passed_by", set, unbound, nothing);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
