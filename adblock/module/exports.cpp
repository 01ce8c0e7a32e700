// The exports of libvexlar.so. Nothing is done when the library is loaded; lists are read when the
// first object is made or the host chooses them.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "matcher/loader.h"
#include "module/opened_rules.h"
#include "module/vexlar_blocker.h"
#include "vexlar/requests.h"
#include "vexlar/vexlar.h"

#define VEXLAR_EXPORT extern "C" __attribute__((visibility("default")))

namespace velmora::adblock {
namespace {

void ReportProblems(const Blocker &blocker) {
  for (const std::string &problem : blocker.Problems()) {
    const std::string line = "libvexlar: " + problem + "\n";
    if (write(STDERR_FILENO, line.data(), line.size()) < 0) return;
  }
}

/// Runs a load and writes what went wrong with it to standard error.
template <typename Load>
Status RunLoad(Load load) noexcept {
  try {
    Blocker &blocker = ProcessBlocker();
    const bool loaded = load(blocker);
    ReportProblems(blocker);
    return loaded ? RESULT_OK : RESULT_INVALID_ARGUMENT;
  } catch (...) {
    return RESULT_OUT_OF_MEMORY;
  }
}

std::vector<std::string> Strings(const char *const *strings, std::uint32_t count) {
  std::vector<std::string> copies;
  for (std::uint32_t at = 0; strings && at < count; ++at) {
    if (strings[at] && *strings[at]) copies.emplace_back(strings[at]);
  }
  return copies;
}

/// One line a rule, so that the numbers of lines are those of the rules.
std::string RulesText(const char *const *rules, std::uint32_t count) {
  std::string text;
  for (std::uint32_t at = 0; rules && at < count; ++at) {
    std::string line = rules[at] ? rules[at] : "";
    std::replace(line.begin(), line.end(), '\n', ' ');
    text.append(line).push_back('\n');
  }
  return text;
}

Choice ReadChoice(const VexlarChoice &choice) {
  return {Strings(choice.lists, choice.list_count),
          Strings(choice.extra_lists, choice.extra_list_count),
          RulesText(choice.rules, choice.rule_count),
          choice.rules_name ? choice.rules_name : "the host's rules"};
}

VexlarList ListOf(const ListRecord &record, const char *name) noexcept {
  const ListCounts &counts = record.counts;
  VexlarList list{name,
                  static_cast<VexlarOrigin>(record.origin),
                  counts.lines,
                  counts.rules,
                  counts.repeated,
                  counts.cancelled,
                  0,
                  0,
                  counts.sizes};
  for (std::size_t skip = 0; skip < SKIP_COUNT; ++skip) {
    list.skipped += counts.skipped[skip];
    if (IsError(static_cast<Skip>(skip))) list.unreadable += counts.skipped[skip];
  }
  return list;
}

}  // namespace

Blocker &ProcessBlocker() {
  // Never destroyed: other threads may ask while the process ends.
  static Blocker &blocker = *new Blocker(CacheFolder());
  return blocker;
}

void LoadListsOnce() noexcept {
  try {
    Blocker &blocker = ProcessBlocker();
    if (blocker.LoadOnce()) ReportProblems(blocker);
  } catch (...) {
    // Out of memory: the object is not ready.
  }
}

}  // namespace velmora::adblock

using namespace velmora;
using namespace velmora::adblock;

VEXLAR_EXPORT Status Ordinal_3(Identifier *identifier) {
  if (!identifier) return RESULT_INVALID_ARGUMENT;
  *identifier = ID_VexlarObject;
  return RESULT_OK;
}

VEXLAR_EXPORT Status GetFactory(const Identifier *object, IDataProcessorFactory **factory) {
  if (!object || !factory || *object != ID_VexlarObject) return RESULT_INVALID_ARGUMENT;
  auto *made = new (std::nothrow) AdBlockerFactory;
  if (!made) return RESULT_OUT_OF_MEMORY;
  made->AddRef();
  *factory = made;
  return RESULT_OK;
}

VEXLAR_EXPORT Status VexlarUseLists(const char *paths) {
  return RunLoad(
      [&](Blocker &blocker) { return blocker.Load({.lists = SplitPaths(paths ? paths : "")}); });
}

VEXLAR_EXPORT Status VexlarUse(const VexlarChoice *choice) {
  if (!choice || choice->size < sizeof *choice) return RESULT_INVALID_ARGUMENT;
  return RunLoad([&](Blocker &blocker) { return blocker.Load(ReadChoice(*choice)); });
}

VEXLAR_EXPORT VexlarRules *VexlarOpen(const VexlarChoice *choice) {
  if (!choice || choice->size < sizeof *choice) return nullptr;
  try {
    const Sources sources = ReadChosen(ReadChoice(*choice));
    if (!sources.problems.empty()) return nullptr;
    auto opened = std::make_unique<VexlarRules>();
    opened->rules = LoadRules(sources.lists, CacheFolder()).rules;
    return opened->rules->Compiled().rules.Count() == 0 ? nullptr : opened.release();
  } catch (...) {
    return nullptr;
  }
}

VEXLAR_EXPORT void VexlarClose(VexlarRules *rules) {
  delete rules;
}

VEXLAR_EXPORT Status VexlarReload() {
  return RunLoad([](Blocker &blocker) { return blocker.Reload(); });
}

VEXLAR_EXPORT std::uint32_t VexlarDescribe(char *text, std::uint32_t size) {
  try {
    Blocker &blocker = ProcessBlocker();
    std::string description;
    if (const Blocker::Rules rules = blocker.Current()) {
      description = DescribeRules(*rules.Get());
    }
    for (const std::string &problem : blocker.Problems()) description += problem + "\n";
    if (text && size > 0) {
      const std::size_t length = std::min<std::size_t>(description.size(), size - 1);
      std::memcpy(text, description.data(), length);
      text[length] = '\0';
    }
    return static_cast<std::uint32_t>(description.size());
  } catch (...) {
    return 0;
  }
}

VEXLAR_EXPORT std::uint32_t VexlarVisitLists(void (*visit)(void *context, const VexlarList *list),
                                             void *context) {
  try {
    // Copied, so that `visit` may take its time.
    std::vector<std::pair<ListRecord, std::string>> lists;
    std::uint32_t rule_count = 0;
    if (const Blocker::Rules rules = ProcessBlocker().Current()) {
      const Image &image = rules->Compiled();
      rule_count = image.rules.Count();
      for (std::uint32_t at = 0; at < image.lists.Count(); ++at) {
        lists.emplace_back(image.lists[at], image.Text(image.lists[at].name));
      }
    }
    for (const auto &[record, name] : lists) {
      const VexlarList list = ListOf(record, name.c_str());
      if (visit) visit(context, &list);
    }
    return rule_count;
  } catch (...) {
    return 0;
  }
}

VEXLAR_EXPORT std::uint32_t VexlarVisitProblems(void (*visit)(void *context, const char *problem),
                                                void *context) {
  try {
    const std::vector<std::string> problems = ProcessBlocker().Problems();
    for (const std::string &problem : problems) {
      if (visit) visit(context, problem.c_str());
    }
    return static_cast<std::uint32_t>(problems.size());
  } catch (...) {
    return 0;
  }
}
