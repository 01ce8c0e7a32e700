#include "host/bodies/pinned_scripts.h"

namespace velmora::host {
namespace {

/// FNV-1a, of what is asked for: all in front of the fragment. Never 0.
std::uint64_t Hash(std::string_view url) noexcept {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : url.substr(0, url.find('#'))) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  }
  return hash | 1U;
}

/// The upper bits are the better mixed ones.
std::size_t SlotOf(std::uint64_t hash) noexcept {
  return static_cast<std::size_t>(hash >> 52U);
}

}  // namespace

void PinnedScripts::Add(std::string_view url) noexcept {
  const std::uint64_t hash = Hash(url);
  hashes_[SlotOf(hash)].store(hash, std::memory_order_relaxed);
}

bool PinnedScripts::Contains(std::string_view url) const noexcept {
  const std::uint64_t hash = Hash(url);
  return hashes_[SlotOf(hash)].load(std::memory_order_relaxed) == hash;
}

}  // namespace velmora::host
