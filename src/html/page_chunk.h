// PageChunk: the one place through which a page is edited.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/content_handler.h"

namespace velmora {

/// The bytes of the current call. Positions are indexes into the host's buffer; every edit stays
/// inside the chunk, whatever position the arithmetic of the elements arrives at.
class PageChunk {
 public:
  /// From here on `chunk`, which must outlive the call, is the one that is edited.
  void Enter(const Chunk &chunk) noexcept {
    chunk_ = &chunk;
    ++changes_;
  }
  /// Somebody else had the bytes to edit.
  void NoteEdit() const noexcept { ++changes_; }
  /// Moves whenever the bytes, or where they lie, may have changed.
  std::uint32_t changes() const noexcept { return changes_; }

  const Chunk &chunk() const noexcept { return *chunk_; }
  IDataBuffer &buffer() const noexcept { return chunk_->buffer(); }

  /// Does the range lie wholly inside the chunk?
  bool Contains(std::uint32_t position, std::uint32_t length) const noexcept;

  /// Replaces a range by `text` and returns the change in length that was really made. A position
  /// outside the chunk is no edit; a range that runs past its end is cut there.
  std::int32_t Replace(std::uint32_t position, std::uint32_t old_length,
                       std::string_view text) const noexcept;

 private:
  const Chunk *chunk_ = nullptr;
  mutable std::uint32_t changes_ = 0;
};

}  // namespace velmora
