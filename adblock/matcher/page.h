// The page that a question is asked for: its host taken apart once for all that stands in it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "domain_list.h"
#include "image.h"
#include "url.h"

namespace velmora::adblock {

class Page {
 public:
  Page() = default;
  /// With letters beyond ASCII as requests spell them.
  explicit Page(std::string_view host) noexcept;
  Page(const Page &) = delete;
  Page &operator=(const Page &) = delete;

  /// In lower case, without port and final dot. Empty for one that is too long.
  std::string_view Host() const noexcept { return host_.View(); }

  /// Finds the page's keys that have entries in the image's index. One page is asked about with one
  /// image.
  void FindKeys(const Image &image) noexcept;
  /// Their lookup keys.
  std::span<const std::uint64_t> Keys() const noexcept { return {keys_.data(), key_count_}; }
  /// Is it on the image's list of names with its head at `head`? Rules have the same few lists
  /// again and again, so the last answers are remembered.
  bool IsOn(const Image &image, std::uint32_t head) noexcept {
    Answer &known = answers_[head % answers_.size()];
    if (known.head != head) known = {head, IsOnDomainList(image, head, Host())};
    return known.is_on;
  }

 private:
  struct Answer {
    /// Head 0 stands for no list.
    std::uint32_t head = 0;
    bool is_on = false;
  };

  void Note(const Image &image, std::uint64_t key) noexcept;

  PaddedText<MAX_HOST> host_;
  std::size_t key_count_ = 0;
  /// Two for each label that a host has room for.
  std::array<std::uint64_t, MAX_HOST + 1> keys_;
  std::array<Answer, 32> answers_{};
};

}  // namespace velmora::adblock
