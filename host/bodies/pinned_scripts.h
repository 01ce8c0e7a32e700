// PinnedScripts: the URLs of scripts whose content some page that came by has pinned
// (`integrity`).
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace velmora::host {

/// Remembers the last ones in 32 KiB. Any number of threads use it at once. A URL that was
/// crowded out is not known; what was never pinned is taken for pinned once in 2^52 questions.
class PinnedScripts {
 public:
  void Add(std::string_view url) noexcept;
  bool Contains(std::string_view url) const noexcept;

 private:
  static constexpr std::size_t COUNT = 4096;

  std::array<std::atomic<std::uint64_t>, COUNT> hashes_{};
};

}  // namespace velmora::host
