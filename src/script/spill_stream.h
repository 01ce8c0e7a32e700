// CSpillStream: a byte stream in a small memory cache that moves to a temporary file when it
// outgrows it.
//
// The cache is a window [cache_start, cache_start + cache_length) of the stream. Until the first
// spill it holds everything and there is no file. From then on the file holds everything but,
// perhaps, the end of a window that ends where the stream ends.
#pragma once

#include <cstdint>
#include <cstring>

#include "script/os_services.h"

namespace velmora {

enum class StreamStatus { OK = 0, NO_MEMORY = 1, FILE_ERROR = 2, INVALID = 3 };

/// All its memory and its file come from the services that it is created with.
class CSpillStream {
 public:
  /// An empty stream with a cache of `capacity` bytes; null when there is no memory for it.
  static CSpillStream *Create(const OsServices &services, std::uint32_t capacity) noexcept;
  /// Gives file, cache and `stream` itself back, whatever fails on the way; null is allowed.
  static StreamStatus Close(CSpillStream *stream) noexcept;

  StreamStatus Append(const void *bytes, std::uint32_t length) noexcept {
    if (cache_start_ + cache_length_ == size_ && length <= capacity_ - cache_length_) {
      std::memcpy(cache_ + cache_length_, bytes, length);
      cache_length_ += length;
      size_ += length;
      return StreamStatus::OK;
    }
    return AppendToFile(bytes, length);
  }

  /// Copies out [offset, offset + length). A range that is not all there is `INVALID` and leaves
  /// the buffer as it is.
  StreamStatus Read(void *buffer, std::uint32_t offset, std::uint32_t length) noexcept {
    if (!Holds(offset, length)) return StreamStatus::INVALID;
    if (offset >= cache_start_ &&
        std::uint64_t{offset} + length <= std::uint64_t{cache_start_} + cache_length_) {
      std::memcpy(buffer, cache_ + (offset - cache_start_), length);
      return StreamStatus::OK;
    }
    return ReadFromFile(buffer, offset, length);
  }

  std::uint32_t size() const noexcept { return size_; }
  bool Holds(std::uint32_t offset, std::uint32_t length) const noexcept {
    return std::uint64_t{offset} + length <= size_;
  }

 private:
  CSpillStream(const OsServices &services, std::uint8_t *cache, std::uint32_t capacity) noexcept
      : services_(services), cache_(cache), capacity_(capacity) {}

  StreamStatus AppendToFile(const void *bytes, std::uint32_t length) noexcept;
  bool KeepEnd(const void *bytes, std::uint32_t length) noexcept;
  StreamStatus ReadFromFile(void *buffer, std::uint32_t offset, std::uint32_t length) noexcept;
  /// Writes out the end of the cache that the file does not have yet.
  bool SaveTail() noexcept;
  /// Makes [start, start + length) of the file the cache's window.
  bool LoadWindow(std::uint32_t start, std::uint32_t length) noexcept;
  bool WriteAt(std::uint32_t offset, const void *bytes, std::uint32_t length) noexcept;
  bool ReadAt(std::uint32_t offset, void *buffer, std::uint32_t length) noexcept;
  bool Seek(std::uint32_t offset) noexcept;

  const OsServices &services_;
  std::uint8_t *const cache_;
  const std::uint32_t capacity_;
  std::uint32_t cache_length_ = 0;
  std::uint32_t cache_start_ = 0;
  std::uint32_t size_ = 0;
  /// How much of the stream the file holds. Kept here, not asked for: a write that failed half-way
  /// leaves bytes in the file that are none of the stream's.
  std::uint32_t saved_ = 0;
  void *file_ = nullptr;
  /// The file's position, so that what follows it needs no seek.
  static constexpr std::uint32_t UNKNOWN_POSITION = 0xFFFFFFFF;
  std::uint32_t position_ = UNKNOWN_POSITION;
};

}  // namespace velmora
