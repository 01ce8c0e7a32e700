#include "script/spill_stream.h"

#include <algorithm>
#include <limits>
#include <new>

namespace velmora {

CSpillStream *CSpillStream::Create(const OsServices &services, std::uint32_t capacity) noexcept {
  void *record = services.Allocate(&services, sizeof(CSpillStream), FILL_NONE);
  if (record == nullptr) return nullptr;
  void *cache = services.Allocate(&services, capacity, FILL_NONE);
  if (cache == nullptr) {
    services.Free(&services, record);
    return nullptr;
  }
  return new (record) CSpillStream(services, static_cast<std::uint8_t *>(cache), capacity);
}

StreamStatus CSpillStream::Close(CSpillStream *stream) noexcept {
  if (stream == nullptr) return StreamStatus::OK;
  const OsServices &services = stream->services_;
  void *const file = stream->file_;
  const bool closed = file == nullptr || services.CloseFile(&services, file) == nullptr;
  const bool cache_freed = services.Free(&services, stream->cache_) == nullptr;
  const bool record_freed = services.Free(&services, stream) == nullptr;
  if (!closed) return StreamStatus::FILE_ERROR;
  return cache_freed && record_freed ? StreamStatus::OK : StreamStatus::NO_MEMORY;
}

StreamStatus CSpillStream::AppendToFile(const void *bytes, std::uint32_t length) noexcept {
  if (length > std::numeric_limits<std::uint32_t>::max() - size_) return StreamStatus::INVALID;
  if (file_ == nullptr) file_ = services_.CreateTemporaryFile(&services_, nullptr);
  if (file_ == nullptr || !SaveTail() || !WriteAt(size_, bytes, length)) {
    return StreamStatus::FILE_ERROR;
  }
  size_ += length;
  saved_ = size_;
  return KeepEnd(bytes, length) ? StreamStatus::OK : StreamStatus::FILE_ERROR;
}

/// Makes the stream's end the cache's window, half the cache long, after an append.
bool CSpillStream::KeepEnd(const void *bytes, std::uint32_t length) noexcept {
  const std::uint32_t half = std::min(capacity_ / 2, size_);
  const std::uint32_t before = half - std::min(half, length);
  // Mostly all of it is at hand: the end of the cache and what was appended to it.
  if (cache_start_ + cache_length_ != size_ - length || cache_length_ < before) {
    return LoadWindow(size_ - half, half);
  }
  const std::uint32_t rest = half - before;
  std::memmove(cache_, cache_ + (cache_length_ - before), before);
  std::memcpy(cache_ + before, static_cast<const std::uint8_t *>(bytes) + (length - rest), rest);
  cache_start_ = size_ - half;
  cache_length_ = half;
  return true;
}

StreamStatus CSpillStream::ReadFromFile(void *buffer, std::uint32_t offset,
                                        std::uint32_t length) noexcept {
  if (file_ == nullptr || !SaveTail()) return StreamStatus::FILE_ERROR;
  if (length > capacity_) {
    return ReadAt(offset, buffer, length) ? StreamStatus::OK : StreamStatus::FILE_ERROR;
  }
  // The window is centred on what is asked for, as far as the stream's ends allow.
  const std::uint32_t window = std::min(capacity_, size_);
  const std::uint32_t before = (capacity_ - length) / 2;
  const std::uint32_t start = std::min(offset < before ? 0 : offset - before, size_ - window);
  if (!LoadWindow(start, window)) return StreamStatus::FILE_ERROR;
  std::memcpy(buffer, cache_ + (offset - cache_start_), length);
  return StreamStatus::OK;
}

bool CSpillStream::SaveTail() noexcept {
  const std::uint32_t cache_end = cache_start_ + cache_length_;
  if (saved_ >= cache_end) return true;
  if (!WriteAt(saved_, cache_ + (saved_ - cache_start_), cache_end - saved_)) return false;
  saved_ = cache_end;
  return true;
}

bool CSpillStream::LoadWindow(std::uint32_t start, std::uint32_t length) noexcept {
  if (!ReadAt(start, cache_, length)) {
    // Nothing in the cache can be trusted now; the file has it all.
    cache_start_ = size_;
    cache_length_ = 0;
    return false;
  }
  cache_start_ = start;
  cache_length_ = length;
  return true;
}

bool CSpillStream::WriteAt(std::uint32_t offset, const void *bytes, std::uint32_t length) noexcept {
  if (!Seek(offset)) return false;
  const bool written = services_.WriteFile(&services_, file_, bytes, length) == length;
  position_ = written ? offset + length : UNKNOWN_POSITION;
  return written;
}

bool CSpillStream::ReadAt(std::uint32_t offset, void *buffer, std::uint32_t length) noexcept {
  if (!Seek(offset)) return false;
  const bool read = services_.ReadFile(&services_, file_, buffer, length) == length;
  position_ = read ? offset + length : UNKNOWN_POSITION;
  return read;
}

bool CSpillStream::Seek(std::uint32_t offset) noexcept {
  if (offset == position_) return true;
  return offset <= std::uint32_t{std::numeric_limits<std::int32_t>::max()} &&
         services_.SeekFile(&services_, file_, static_cast<std::int32_t>(offset), FROM_START) !=
             SERVICE_FAILURE;
}

}  // namespace velmora
