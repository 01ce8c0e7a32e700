// A host's buffer that lets nobody step outside the bytes it holds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/fake_host.h"

namespace velmora::testing {

/// Holds its bytes in a block of exactly their size, a new one after every edit: a sanitizer sees
/// each read and write outside, and each use of a pointer from before an edit. An edit that names
/// bytes outside fails the test.
class TightBuffer final : public FakeObject<IDataBuffer> {
 public:
  std::uint8_t *GetData() noexcept override { return bytes_.get(); }
  std::uint32_t GetSize() noexcept override { return size_; }
  std::uint32_t GetCommitted() noexcept override { return committed_; }
  void SetCommitted(std::uint32_t position) noexcept override {
    EXPECT_LE(position, size_);
    committed_ = position;
  }
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *text,
               std::uint32_t new_length) noexcept override {
    ASSERT_LE(position, size_);
    ASSERT_LE(old_length, size_ - position);
    std::string changed(Held().substr(0, position));
    changed.append(reinterpret_cast<const char *>(text), new_length);
    changed.append(Held().substr(position + old_length));
    Hold(changed);
    committed_ = MarkAfterEdit(committed_, position, old_length, new_length);
  }

  void Append(std::string_view text) { Hold(std::string(Held()).append(text)); }
  std::string TakeCommitted() {
    const std::string sent(Held().substr(0, committed_));
    Hold(std::string(Held().substr(committed_)));
    committed_ = 0;
    return sent;
  }
  std::string_view Held() const { return {reinterpret_cast<const char *>(bytes_.get()), size_}; }

 private:
  void Hold(const std::string &text) {
    auto block = std::make_unique<std::uint8_t[]>(text.size());
    std::copy(text.begin(), text.end(), block.get());
    bytes_ = std::move(block);
    size_ = static_cast<std::uint32_t>(text.size());
  }

  std::unique_ptr<std::uint8_t[]> bytes_ = std::make_unique<std::uint8_t[]>(0);
  std::uint32_t size_ = 0;
  std::uint32_t committed_ = 0;
};

/// As `Feed`, through a tight buffer.
inline std::string FeedTight(IDataProcessor &processor,
                             const std::vector<std::string_view> &pieces) {
  return Feed<TightBuffer>(processor, pieces);
}

}  // namespace velmora::testing
