// Every character set that libiconv knows, and the hook that turns the fast paths off.
#pragma once

#include <iconv.h>
#include <string>
#include <vector>

#include "core/fast_path.h"

namespace velmora::testing {

/// The fast paths are off while it is in scope.
class FastPathOff {
 public:
  explicit FastPathOff(bool is_off = true) { fast_path_allowed = !is_off; }
  FastPathOff(const FastPathOff &) = delete;
  FastPathOff &operator=(const FastPathOff &) = delete;
  ~FastPathOff() { fast_path_allowed = true; }
};

/// Every name that libiconv lists and a page can give.
inline std::vector<std::string> AllSets() {
  std::vector<std::string> sets;
  libiconvlist(
      [](unsigned count, const char *const *names, void *data) {
        auto *const all = static_cast<std::vector<std::string> *>(data);
        all->insert(all->end(), names, names + count);
        return 0;
      },
      &sets);
  std::erase_if(
      sets, [](const std::string &set) { return set.find_first_of(":/(") != std::string::npos; });
  return sets;
}

}  // namespace velmora::testing
