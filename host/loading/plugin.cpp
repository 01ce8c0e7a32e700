#include "host/loading/plugin.h"

#include <string>
#include <utility>
#include <vexlar/requests.h>
#include <vexlar/vexlar.h>

#include <velmora/ad_blocker.h>

#include "host/loading/installation.h"

namespace velmora::host {
namespace {

// What an ad-blocking library may export besides the module contract.
using UseFunction = decltype(&VexlarUse);
constexpr char EXPORT_USE[] = "VexlarUse";
using VisitListsFunction = decltype(&VexlarVisitLists);
constexpr char EXPORT_VISIT_LISTS[] = "VexlarVisitLists";
using VisitProblemsFunction = decltype(&VexlarVisitProblems);
constexpr char EXPORT_VISIT_PROBLEMS[] = "VexlarVisitProblems";
constexpr char EXPORT_JUDGE[] = "VexlarJudge";
constexpr char EXPORT_JUDGE_BY[] = "VexlarJudgeBy";
using OpenFunction = decltype(&VexlarOpen);
constexpr char EXPORT_OPEN[] = "VexlarOpen";
using CloseFunction = decltype(&VexlarClose);
constexpr char EXPORT_CLOSE[] = "VexlarClose";

std::shared_ptr<const Module> LoadAdLibrary(const std::optional<std::filesystem::path> &file) {
  if (!file) return nullptr;
  auto library = std::make_shared<const Module>(*file);
  library->GetFactory(EXPORT_ORDINAL_3);
  if (!library->IsFoundAs(AD_LIBRARY_NAME)) {
    throw LoadError(*file, std::string("the plug-in does not find it: its SONAME is not ") +
                               AD_LIBRARY_NAME + ", or another library has that name already");
  }
  return library;
}

std::optional<std::filesystem::path> AdLibraryFile(const std::filesystem::path &plugin,
                                                   const AdLibraryOptions &ads) {
  if (!ads.is_used) return std::nullopt;
  if (!ads.library.empty()) return ads.library;
  const std::filesystem::path beside = plugin.parent_path() / AD_LIBRARY_NAME;
  if (!std::filesystem::exists(beside)) return std::nullopt;
  return beside;
}

template <class Text>
std::vector<const char *> Pointers(const std::vector<Text> &texts) {
  std::vector<const char *> pointers;
  pointers.reserve(texts.size());
  for (const Text &text : texts) pointers.push_back(text.c_str());
  return pointers;
}

std::string Names(const AdLibraryOptions &ads) {
  std::string names;
  for (const auto *const lists : {&ads.lists, &ads.extra_lists}) {
    for (const auto &list : *lists) names.append(names.empty() ? " " : ", ").append(list.string());
  }
  return names;
}

/// Calls a function with the library's form of a choice.
template <class Function>
auto WithChoice(const AdLibraryOptions &ads, Function function) {
  const auto lists = Pointers(ads.lists);
  const auto extra_lists = Pointers(ads.extra_lists);
  const auto rules = Pointers(ads.rules);
  const VexlarChoice choice{
      .size = sizeof choice,
      .list_count = static_cast<std::uint32_t>(lists.size()),
      .extra_list_count = static_cast<std::uint32_t>(extra_lists.size()),
      .rule_count = static_cast<std::uint32_t>(rules.size()),
      .lists = lists.data(),
      .extra_lists = extra_lists.data(),
      .rules = rules.data(),
      .rules_name = ads.rules_name.empty() ? nullptr : ads.rules_name.c_str()};
  return function(choice);
}

/// Tells the library which lists to use; no lists are those that it finds itself.
void UseLists(const Module &library, const AdLibraryOptions &ads) {
  const auto use = library.Find<UseFunction>(EXPORT_USE);
  const Status status = WithChoice(ads, [&](const VexlarChoice &choice) { return use(&choice); });
  if (status != RESULT_OK) throw LoadError(library.File(), "no rule in the lists" + Names(ads));
}

AdVerdict::Kind KindOf(VexlarVerdict verdict) noexcept {
  switch (verdict) {
    case VEXLAR_NONE:
      break;
    case VEXLAR_BLOCKED:
      return AdVerdict::Kind::BLOCKED;
    case VEXLAR_ALLOWED:
      return AdVerdict::Kind::ALLOWED;
  }
  return AdVerdict::Kind::NONE;
}

std::string_view Describe(VexlarOrigin origin) noexcept {
  switch (origin) {
    case VEXLAR_ORIGIN_ENVIRONMENT:
      return "named in VEXLAR_LISTS";
    case VEXLAR_ORIGIN_LISTS:
      return "named in \"lists\"";
    case VEXLAR_ORIGIN_INSTALLED:
      return "installed on the system";
    case VEXLAR_ORIGIN_BUILT_IN:
      return "built in";
    case VEXLAR_ORIGIN_EXTRA_LISTS:
      return "named in \"extra-lists\"";
    case VEXLAR_ORIGIN_RULES:
      return "from \"rules\"";
  }
  return "";
}

/// Before the plug-in binds to it, which would make it load the lists that it finds.
std::shared_ptr<const Module> LoadAdLibraryWithLists(const std::filesystem::path &plugin,
                                                     const AdLibraryOptions &ads) {
  std::shared_ptr<const Module> library = LoadAdLibrary(AdLibraryFile(plugin, ads));
  if (library && ads.ChoosesLists()) UseLists(*library, ads);
  return library;
}

}  // namespace

Plugin::Plugin(const std::filesystem::path &file,
               const std::optional<std::filesystem::path> &ad_library)
    : ad_library_(LoadAdLibrary(ad_library)),
      module_(file),
      factory_(module_.GetFactory(EXPORT_GET_OBJECT_ID)) {
  CheckModules();
}

Plugin::Plugin(const std::filesystem::path &file, const AdLibraryOptions &ads)
    : ad_library_(LoadAdLibraryWithLists(file, ads)),
      module_(file),
      factory_(module_.GetFactory(EXPORT_GET_OBJECT_ID)) {
  CheckModules();
}

void Plugin::CheckModules() {
  if (ad_library_) {
    judge_ = ad_library_->FindIfThere<JudgeFunction>(EXPORT_JUDGE);
    judge_by_ = ad_library_->FindIfThere<JudgeByFunction>(EXPORT_JUDGE_BY);
  }
  if (CreateProcessor() == nullptr) throw LoadError(module_.File(), "makes no data processors");
}

void Plugin::UseAdLists(const AdLibraryOptions &ads) const {
  if (ad_library_) UseLists(*ad_library_, ads);
}

AdLists Plugin::ListsInForce() const {
  AdLists found;
  if (!ad_library_) return found;
  if (const auto visit = ad_library_->FindIfThere<VisitListsFunction>(EXPORT_VISIT_LISTS)) {
    found.rules = visit(
        [](void *lists, const VexlarList *list) {
          static_cast<AdLists *>(lists)->lists.push_back(
              {list->name, Describe(list->origin), list->rules});
        },
        &found);
  }
  if (const auto visit = ad_library_->FindIfThere<VisitProblemsFunction>(EXPORT_VISIT_PROBLEMS)) {
    visit(
        [](void *lists, const char *problem) {
          static_cast<AdLists *>(lists)->problems.emplace_back(problem);
        },
        &found);
  }
  return found;
}

AdRules Plugin::OpenRules(const AdLibraryOptions &ads) const {
  if (!ad_library_) return nullptr;
  const auto open = ad_library_->Find<OpenFunction>(EXPORT_OPEN);
  const auto close = ad_library_->Find<CloseFunction>(EXPORT_CLOSE);
  VexlarRules *const rules =
      WithChoice(ads, [&](const VexlarChoice &choice) { return open(&choice); });
  if (rules == nullptr) {
    throw LoadError(ad_library_->File(), "no rule in " + ads.rules_name + Names(ads));
  }
  return {rules, [library = ad_library_, close](VexlarRules *opened) { close(opened); }};
}

AdVerdict Plugin::Judge(const AdRequest &request, const AdListChain &lists) const {
  if (judge_ == nullptr) return {};
  const VexlarRequest question{.size = sizeof question,
                               .types = request.types,
                               .url = request.url.data(),
                               .url_size = request.url.size(),
                               .page = request.page.data(),
                               .page_size = request.page.size(),
                               .method = request.method.data(),
                               .method_size = request.method.size()};
  VexlarReason reason;
  reason.size = sizeof reason;
  AdVerdict verdict;
  for (auto rules = lists.own.rbegin(); rules != lists.own.rend(); ++rules) {
    verdict.kind = KindOf(judge_by_(rules->get(), &question, &reason));
    if (verdict.kind != AdVerdict::Kind::NONE) break;
  }
  if (verdict.kind == AdVerdict::Kind::NONE && lists.has_general) {
    verdict.kind = KindOf(judge_(&question, &reason));
  }
  if (verdict.kind == AdVerdict::Kind::NONE) return verdict;
  verdict.rule = reason.rule;
  verdict.list = reason.list;
  verdict.line = reason.line;
  return verdict;
}

ProcessorPointer Plugin::CreateProcessor() const noexcept {
  void *processor = nullptr;
  if (factory_->CreateInstance(&ID_DataProcessor, &processor) != RESULT_OK) return {};
  return ProcessorPointer::Adopt(static_cast<IDataProcessor *>(processor));
}

std::filesystem::path DefaultPlugin() {
  return PluginFolder() / "libvelmora.so";
}

}  // namespace velmora::host
