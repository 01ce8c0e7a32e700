// The last answers about what stands in one page, which often names a URL more than once.
//
// Each question has one slot, chosen by a hash; what is there is compared byte for byte.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "hash.h"
#include "verdict.h"

namespace velmora::adblock {

class AnswerMemory {
 public:
  /// Longer URLs are not remembered.
  static constexpr std::size_t ROOM = 228;
  static constexpr std::size_t SLOTS = 64;

  /// A question to be asked twice: for `Find`, then for `Keep`.
  struct Key {
    std::string_view url;
    /// Types and method.
    std::uint32_t kind;
    std::uint64_t hash;
  };
  static Key KeyOf(std::string_view url, std::uint32_t kind) noexcept {
    // URLs of a page often have the same ends, seldom the same middle.
    const std::string_view middle = url.substr(url.size() / 2, 8);
    const std::uint64_t hash = HashBytes(url) ^ (HashBytes(middle) + kind) >> 7;
    return {url, kind, hash ^ hash >> 32};
  }

  /// The answer to the question; null if it is not there.
  const Verdict *Find(const Key &key) const noexcept {
    const Slot &slot = slots_[key.hash % SLOTS];
    const bool may_be = slot.hash == key.hash && slot.kind == key.kind && slot.size != 0;
    return may_be && std::string_view(slot.url, slot.size) == key.url ? &slot.verdict : nullptr;
  }
  void Keep(const Key &key, const Verdict &verdict) noexcept;
  void Forget() noexcept;

 private:
  struct alignas(64) Slot {
    std::uint64_t hash = 0;
    Verdict verdict;
    std::uint32_t kind = 0;
    /// Of an empty slot 0.
    std::uint32_t size = 0;
    char url[ROOM];
  };

  std::array<Slot, SLOTS> slots_;
};

}  // namespace velmora::adblock
