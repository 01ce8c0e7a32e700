#include "host/bodies/body_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace velmora::host {

bool BodyBuffer::Append(std::string_view bytes) noexcept {
  if (bytes.empty()) return true;
  if (!MakeRoom(bytes.size())) return false;
  std::memcpy(GetData() + size_, bytes.data(), bytes.size());
  size_ += static_cast<std::uint32_t>(bytes.size());
  return true;
}

std::string_view BodyBuffer::Take(std::uint32_t length) noexcept {
  const std::string_view taken(reinterpret_cast<const char *>(GetData()), length);
  start_ += length;
  taken_ += length;
  size_ -= length;
  committed_ -= std::min(committed_, length);
  return taken;
}

void BodyBuffer::Clear() noexcept {
  storage_.reset();
  SetCapacity(0);
  start_ = 0;
  size_ = committed_ = 0;
}

void BodyBuffer::SetCommitted(std::uint32_t position) noexcept {
  committed_ = std::min(position, size_);
}

void BodyBuffer::Replace(std::uint32_t position, std::uint32_t old_length,
                         const std::uint8_t *bytes, std::uint32_t new_length) noexcept {
  if (edit_failure_ || position > size_) return;
  old_length = std::min(old_length, size_ - position);
  if (new_length > old_length) {
    const std::uint32_t added = new_length - old_length;
    if (std::uint64_t{size_} + added > most_size_) {
      edit_failure_ = StopReason::ADDED_BYTES;
    } else if (!MakeRoom(added)) {
      edit_failure_ = StopReason::OUT_OF_MEMORY;
    }
    if (edit_failure_) return;
  }
  const std::uint32_t old_end = position + old_length;
  std::uint8_t *const place = GetData() + position;
  if (new_length != old_length && old_end < size_) {
    std::memmove(place + new_length, place + old_length, size_ - old_end);
  }
  if (new_length != 0) std::memcpy(place, bytes, new_length);
  size_ = size_ - old_length + new_length;
  saved_ += std::int64_t{old_length} - std::int64_t{new_length};
  if (committed_ >= old_end) {
    committed_ = committed_ - old_length + new_length;
  } else if (committed_ > position) {
    committed_ = position + new_length;
  }
  if (listener_ != nullptr) {
    listener_->OnReplace(taken_ + position, old_length,
                         {reinterpret_cast<const char *>(place), new_length});
  }
}

bool BodyBuffer::MakeRoom(std::size_t extra) noexcept {
  if (extra <= capacity_ - start_ - size_) return true;
  if (extra > std::numeric_limits<std::uint32_t>::max() - size_) return false;
  const std::size_t needed = size_ + extra;
  if (needed <= capacity_ && start_ >= size_) {
    std::memmove(storage_.get(), GetData(), size_);
    start_ = 0;
    return true;
  }
  const std::size_t capacity = std::max(needed, capacity_ + capacity_ / 2);
  // The bytes in front that are sent on are not taken along, unless they are few: then the heap may
  // find a way to grow without a copy.
  if (start_ <= size_ / 2) return Reallocate(start_ + capacity);
  auto *const storage = static_cast<std::uint8_t *>(std::malloc(capacity));
  if (storage == nullptr) return false;
  if (size_ != 0) std::memcpy(storage, GetData(), size_);
  storage_.reset(storage);
  SetCapacity(capacity);
  start_ = 0;
  return true;
}

bool BodyBuffer::Reallocate(std::size_t capacity) noexcept {
  auto *const storage = static_cast<std::uint8_t *>(std::realloc(storage_.get(), capacity));
  if (storage == nullptr) return false;
  static_cast<void>(storage_.release());
  storage_.reset(storage);
  SetCapacity(capacity);
  return true;
}

void BodyBuffer::SetCapacity(std::size_t capacity) noexcept {
  part_.Set(capacity);
  capacity_ = capacity;
}

}  // namespace velmora::host
