// The last answers of a set of rules: a page often names an address more than once.
//
// Each question has one slot, chosen by a hash; what is there is compared byte for byte. A slot is
// held by one thread at a time, and a thread that finds it held goes without: nobody waits, and
// what is found is always what the same rules have said of the same question.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "verdict.h"

namespace velmora::adblock {

class AnswerMemory {
 public:
  /// Longer pages and addresses together are not remembered.
  static constexpr std::size_t ROOM = 228;
  static constexpr std::size_t SLOTS = 256;

  AnswerMemory() : slots_(new Slot[SLOTS]) {}

  /// A question to be asked twice: for `Find`, then for `Keep`.
  struct Key {
    std::string_view page_host;
    std::string_view address;
    /// Types and method.
    std::uint32_t kind;
    std::uint64_t hash;
  };
  static Key KeyOf(std::string_view page_host, std::string_view address,
                   std::uint32_t kind) noexcept;

  std::optional<Verdict> Find(const Key &key) noexcept;
  void Keep(const Key &key, const Verdict &verdict) noexcept;

 private:
  /// `hash` is that of the question; its lowest bit says that a thread has the slot.
  struct alignas(64) Slot {
    std::atomic<std::uint64_t> hash = 0;
    Verdict verdict;
    std::uint32_t kind = 0;
    std::uint16_t page_host_size = 0;
    std::uint16_t address_size = 0;
    char text[ROOM];
  };

  Slot &SlotOf(const Key &key) noexcept { return slots_[key.hash >> 56]; }

  std::unique_ptr<Slot[]> slots_;
};

}  // namespace velmora::adblock
