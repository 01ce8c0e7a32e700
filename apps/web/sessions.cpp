#include "web/sessions.h"

#include <algorithm>

#include "web/secrets.h"

namespace velmora::web {

std::string Sessions::Begin(Role role, Clock::time_point now) {
  std::string word = RandomWord();
  const base::MutexLock lock(mutex_);
  std::erase_if(known_, [&](const auto &entry) { return now - entry.second.used >= LIFETIME; });
  if (known_.size() >= MOST) {
    known_.erase(
        std::ranges::min_element(known_, {}, [](const auto &entry) { return entry.second.used; }));
  }
  known_[word] = {.session = {.role = role, .form_word = RandomWord()}, .used = now};
  return word;
}

Session Sessions::Of(std::string_view word, Clock::time_point now) {
  const base::MutexLock lock(mutex_);
  const auto found = known_.find(word);
  if (found == known_.end() || now - found->second.used >= LIFETIME) return {};
  found->second.used = now;
  return found->second.session;
}

void Sessions::End(std::string_view word) {
  const base::MutexLock lock(mutex_);
  if (const auto found = known_.find(word); found != known_.end()) known_.erase(found);
}

}  // namespace velmora::web
