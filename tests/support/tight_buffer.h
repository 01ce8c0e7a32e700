// A host's buffer that lets nobody step outside the bytes it holds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
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

/// What a host sends on after each call of a body that lies between bytes that are not its own;
/// what is left at the end goes on with the last.
inline std::vector<std::string> SentAfterEachCall(IDataProcessor &processor,
                                                  const std::vector<std::string_view> &pieces,
                                                  std::string_view before = {},
                                                  std::string_view behind = {}) {
  const auto offset = static_cast<std::uint32_t>(before.size());
  std::vector<std::string> sent;
  std::string held;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    held += pieces[i];
    TightBuffer buffer;
    buffer.Append(std::string(before).append(held).append(behind));
    processor.ProcessData(
        &buffer, offset, static_cast<std::uint32_t>(held.size()),
        (i == 0 ? DATA_FLAG_START : 0U) | (i + 1 == pieces.size() ? DATA_FLAG_END : 0U));
    const std::string_view after = buffer.Held();
    EXPECT_TRUE(after.starts_with(before) && after.ends_with(behind)) << after;
    const std::size_t end = after.size() - behind.size();
    const std::size_t committed = buffer.GetCommitted();
    EXPECT_TRUE(offset <= committed && committed <= end) << committed;
    sent.emplace_back(after.substr(offset, committed - offset));
    held = after.substr(committed, end - committed);
  }
  if (!sent.empty()) sent.back() += held;
  return sent;
}

inline std::string FeedTight(IDataProcessor &processor,
                             const std::vector<std::string_view> &pieces) {
  std::string sent;
  for (const std::string &part : SentAfterEachCall(processor, pieces)) sent += part;
  return sent;
}

/// Places of a body in its host's buffer: before and after it stand bytes that would be changed if
/// they were its own.
inline constexpr std::pair<std::string_view, std::string_view> PLACES[] = {
    {"", ""},
    {"<q onload=1><img src=/ads/0>", ""},
    {"", "</applet></script><b onclick=2>"},
    {"<q onload=1>", "</applet><b onclick=2>"},
};

}  // namespace velmora::testing
