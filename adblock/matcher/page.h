// The page that a question is asked for: its host taken apart once for all that stands in it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

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

  /// Finds the page's keys that have entries in the image's index.
  void FindKeys(const Image &image) noexcept;
  /// Their lookup keys.
  std::span<const std::uint64_t> Keys() const noexcept { return {keys_.data(), key_count_}; }

 private:
  void Note(const Image &image, std::uint64_t key) noexcept;

  PaddedText<MAX_HOST> host_;
  std::size_t key_count_ = 0;
  /// Two for each label that a host has room for.
  std::array<std::uint64_t, MAX_HOST + 1> keys_;
};

}  // namespace velmora::adblock
