// The encodings of a page; the top one is in force.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "html/encoding.h"

namespace velmora {

/// Owns its encodings and destroys them from the top.
class EncodingStack {
 public:
  EncodingStack() = default;
  EncodingStack(const EncodingStack &) = delete;
  EncodingStack &operator=(const EncodingStack &) = delete;
  ~EncodingStack() { Clear(); }

  bool IsEmpty() const noexcept { return encodings_.empty(); }
  /// The encoding in force; the stack must not be empty.
  CEncoding &Top() const noexcept { return *encodings_.back(); }
  /// How often another encoding has come into force.
  std::uint32_t changes() const noexcept { return changes_; }
  void Push(std::unique_ptr<CEncoding> encoding) {
    ++changes_;
    encodings_.push_back(std::move(encoding));
  }
  /// Destroys the encoding in force and puts another in its place.
  void ReplaceTop(std::unique_ptr<CEncoding> encoding) {
    ++changes_;
    encodings_.back() = std::move(encoding);
  }
  void Clear() noexcept {
    while (!encodings_.empty()) encodings_.pop_back();
  }

 private:
  std::vector<std::unique_ptr<CEncoding>> encodings_;
  std::uint32_t changes_ = 0;
};

}  // namespace velmora
