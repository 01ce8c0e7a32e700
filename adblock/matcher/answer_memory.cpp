#include "answer_memory.h"

#include <cstring>

#include "hash.h"

namespace velmora::adblock {
namespace {

constexpr std::uint64_t HELD = 1;

}  // namespace

AnswerMemory::Key AnswerMemory::KeyOf(std::string_view page_host, std::string_view address,
                                      std::uint32_t kind) noexcept {
  // Addresses of a page often have the same ends, seldom the same middle.
  const std::string_view middle = address.substr(address.size() / 2, 8);
  const std::uint64_t hash =
      hash_detail::Mix(HashBytes(address) ^ HashBytes(middle) >> 7, HashBytes(page_host) + kind);
  return {page_host, address, kind, hash & ~HELD};
}

std::optional<Verdict> AnswerMemory::Find(const Key &key) noexcept {
  Slot &slot = SlotOf(key);
  std::uint64_t hash = key.hash;
  if (slot.hash.load(std::memory_order_relaxed) != hash ||
      !slot.hash.compare_exchange_strong(hash, hash | HELD, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
    return std::nullopt;
  }
  std::optional<Verdict> found;
  if (slot.kind == key.kind && std::string_view(slot.text, slot.page_host_size) == key.page_host &&
      std::string_view(slot.text + slot.page_host_size, slot.address_size) == key.address) {
    found = slot.verdict;
  }
  slot.hash.store(hash, std::memory_order_release);
  return found;
}

void AnswerMemory::Keep(const Key &key, const Verdict &verdict) noexcept {
  const std::size_t host_size = key.page_host.size();
  if (host_size > ROOM || key.address.size() > ROOM - host_size) return;
  Slot &slot = SlotOf(key);
  std::uint64_t before = slot.hash.load(std::memory_order_relaxed);
  if ((before & HELD) != 0 ||
      !slot.hash.compare_exchange_strong(before, before | HELD, std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
    return;
  }
  slot.verdict = verdict;
  slot.kind = key.kind;
  slot.page_host_size = static_cast<std::uint16_t>(host_size);
  slot.address_size = static_cast<std::uint16_t>(key.address.size());
  std::memcpy(slot.text, key.page_host.data(), host_size);
  std::memcpy(slot.text + host_size, key.address.data(), key.address.size());
  slot.hash.store(key.hash, std::memory_order_release);
}

}  // namespace velmora::adblock
