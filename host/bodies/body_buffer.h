// BodyBuffer: the bytes of one body that are not sent on yet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>

#include <velmora/data_buffer.h>

#include "host/bodies/edit_list.h"
#include "host/bodies/host_owned.h"
#include "host/limits/limits.h"

namespace velmora::host {

/// What is sent on is dropped by moving the start of the held bytes; the room in front of it is won
/// back when room is needed, and only when at least as many bytes were dropped as have to move. So
/// each byte is moved a bounded number of times, however it comes and goes, apart from edits.
///
/// Nothing here throws. An edit for which there is no memory, or that adds more than is allowed, is
/// not made, nor is any later one (the plug-in's positions no longer fit): the bytes stay as they
/// are and `EditFailure` tells.
class BodyBuffer final : public HostOwned<IDataBuffer> {
 public:
  /// The listener, if any, hears of the edits that are made.
  explicit BodyBuffer(EditListener *listener = nullptr) noexcept : listener_(listener) {}
  ~BodyBuffer() { Clear(); }

  /// Adds bytes at the end; without memory answers false and leaves all as it is.
  bool Append(std::string_view bytes) noexcept;
  /// Takes the committed bytes, or all, out in front. The view is good until the buffer changes.
  std::string_view TakeCommitted() noexcept { return Take(committed_); }
  std::string_view TakeAll() noexcept { return Take(size_); }
  /// Bytes after the commit position.
  std::uint32_t HeldBack() const noexcept { return size_ - committed_; }
  /// By how much all edits so far have made the body shorter.
  std::int64_t Saved() const noexcept { return saved_; }
  /// Where in the body that came the byte at an index stands, if no edit was made behind it.
  std::uint64_t OriginalPlace(std::uint32_t index) const noexcept {
    return taken_ + index + static_cast<std::uint64_t>(saved_);
  }
  /// From here on edits may add so many bytes to those that are there.
  void AllowToAdd(std::uint32_t most) noexcept { most_size_ = std::uint64_t{size_} + most; }
  /// Why an edit was not made, if one was not.
  std::optional<StopReason> EditFailure() const noexcept { return edit_failure_; }
  /// Drops all bytes and their memory.
  void Clear() noexcept;

  std::uint8_t *GetData() noexcept override { return storage_.get() + start_; }
  std::uint32_t GetSize() noexcept override { return size_; }
  std::uint32_t GetCommitted() noexcept override { return committed_; }
  void SetCommitted(std::uint32_t position) noexcept override;
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *bytes,
               std::uint32_t new_length) noexcept override;

 private:
  struct Free {
    void operator()(std::uint8_t *bytes) const noexcept { std::free(bytes); }
  };

  std::string_view Take(std::uint32_t length) noexcept;
  /// Makes room for `extra` bytes after the held ones; may move them.
  bool MakeRoom(std::size_t extra) noexcept;
  bool Reallocate(std::size_t capacity) noexcept;
  /// All that the process holds back is counted.
  void SetCapacity(std::size_t capacity) noexcept;

  std::unique_ptr<std::uint8_t[], Free> storage_;
  std::size_t capacity_ = 0;
  HeldPart part_;
  std::size_t start_ = 0;
  std::uint32_t size_ = 0;
  std::uint32_t committed_ = 0;
  std::uint64_t most_size_ = std::numeric_limits<std::uint64_t>::max();
  std::optional<StopReason> edit_failure_;
  /// Bytes taken out in front so far.
  std::uint64_t taken_ = 0;
  std::int64_t saved_ = 0;
  EditListener *listener_;
};

}  // namespace velmora::host
