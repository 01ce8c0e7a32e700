#include "answer_memory.h"

#include <cstring>

namespace velmora::adblock {

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
