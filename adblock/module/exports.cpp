// The exports of libvexlar.so. Nothing is done when the library is loaded; lists are read when the
// first object is made or the host chooses them.
#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <unistd.h>

#include "matcher/loader.h"
#include "module/ad_blocker.h"
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
  return RunLoad([&](Blocker &blocker) { return blocker.Load(paths ? paths : ""); });
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
