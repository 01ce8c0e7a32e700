#include "answer_memory.h"

#include <cstring>

#include "hash.h"

namespace velmora::adblock {

AnswerMemory::Key AnswerMemory::KeyOf(std::string_view url, std::uint32_t kind) noexcept {
  // URLs of a page often have the same ends, seldom the same middle.
  const std::string_view middle = url.substr(url.size() / 2, 8);
  const std::uint64_t hash = HashBytes(url) ^ (HashBytes(middle) + kind) >> 7;
  return {url, kind, hash ^ hash >> 32};
}

std::optional<Verdict> AnswerMemory::Find(const Key &key) const noexcept {
  const Slot &slot = slots_[key.hash % SLOTS];
  const bool is_there = slot.hash == key.hash && slot.kind == key.kind && slot.size != 0 &&
                        std::string_view(slot.url, slot.size) == key.url;
  return is_there ? std::optional(slot.verdict) : std::nullopt;
}

void AnswerMemory::Keep(const Key &key, const Verdict &verdict) noexcept {
  if (key.url.size() > ROOM) return;
  Slot &slot = slots_[key.hash % SLOTS];
  slot.hash = key.hash;
  slot.verdict = verdict;
  slot.kind = key.kind;
  slot.size = static_cast<std::uint32_t>(key.url.size());
  std::memcpy(slot.url, key.url.data(), key.url.size());
}

void AnswerMemory::Forget() noexcept {
  for (Slot &slot : slots_) slot.size = 0;
}

}  // namespace velmora::adblock
