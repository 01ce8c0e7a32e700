// Strings that live as long as the arena that keeps them, one after the other in large blocks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "base/ascii.h"

namespace velmora::adblock {

class StringArena {
 public:
  std::string_view Keep(std::string_view text) { return Join(text, {}); }
  /// `text` and `end` in one.
  std::string_view Join(std::string_view text, std::string_view end) {
    char *copy = Take(text.size() + end.size());
    std::copy(text.begin(), text.end(), copy);
    std::copy(end.begin(), end.end(), copy + text.size());
    return {copy, text.size() + end.size()};
  }
  /// With ASCII letters in lower case.
  std::string_view KeepLower(std::string_view text) {
    char *copy = Take(text.size());
    std::transform(text.begin(), text.end(), copy, base::ToLowerAscii);
    return {copy, text.size()};
  }

 private:
  static constexpr std::size_t BLOCK_SIZE = std::size_t{64} << 10;

  char *Take(std::size_t size) {
    if (size > left_) {
      const std::size_t room = std::max(size, BLOCK_SIZE);
      blocks_.push_back(std::make_unique_for_overwrite<char[]>(room));
      next_ = blocks_.back().get();
      left_ = room;
    }
    char *taken = next_;
    next_ += size;
    left_ -= size;
    return taken;
  }

  std::vector<std::unique_ptr<char[]>> blocks_;
  char *next_ = nullptr;
  std::size_t left_ = 0;
};

}  // namespace velmora::adblock
