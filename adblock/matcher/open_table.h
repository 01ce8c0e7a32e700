// A hash table of numbers: the caller keeps what they stand for, and says which are equal.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace velmora::adblock {

class OpenTable {
 public:
  explicit OpenTable(std::size_t expected = 0)
      : slots_(std::bit_ceil(2 * expected + 16), Slot{0, NONE}) {}

  /// The number that is there and `is_same` says yes to, else `number`, which is there from now on.
  template <typename IsSame>
  std::uint32_t FindOrAdd(std::uint64_t hash, std::uint32_t number, IsSame is_same) {
    if (2 * count_ >= slots_.size()) Grow();
    Slot &slot = slots_[Place(Short(hash), is_same)];
    if (slot.number == NONE) {
      slot = {Short(hash), number};
      ++count_;
    }
    return slot.number;
  }

  template <typename IsSame>
  std::optional<std::uint32_t> Find(std::uint64_t hash, IsSame is_same) const {
    const Slot &slot = slots_[Place(Short(hash), is_same)];
    if (slot.number == NONE) return std::nullopt;
    return slot.number;
  }

 private:
  static constexpr std::uint32_t NONE = ~0U;
  struct Slot {
    std::uint32_t hash;
    std::uint32_t number;
  };

  static std::uint32_t Short(std::uint64_t hash) noexcept {
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
  }

  /// Of the number that is the same, else the free place for one.
  template <typename IsSame>
  std::size_t Place(std::uint32_t hash, IsSame is_same) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].number != NONE && (slots_[at].hash != hash || !is_same(slots_[at].number))) {
      at = (at + 1) & mask;
    }
    return at;
  }

  void Grow() {
    std::vector<Slot> old(2 * slots_.size(), Slot{0, NONE});
    old.swap(slots_);
    for (const Slot &slot : old) {
      if (slot.number != NONE) {
        slots_[Place(slot.hash, [](std::uint32_t) { return false; })] = slot;
      }
    }
  }

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

}  // namespace velmora::adblock
