// PagePosition: where the tokenizer stands in the host's buffer, and from where output is held
// back.
#pragma once

#include <algorithm>
#include <cstdint>

#include <velmora/data_buffer.h>

#include "html/attribute.h"

namespace velmora {

/// Between calls both indexes count from the first byte that was not committed.
class PagePosition {
 public:
  /// A call begins; the bytes left behind by the one before stand at `offset`.
  void EnterCall(std::uint32_t offset) noexcept {
    call_offset_ = offset;
    position_ += offset;
    if (IsHeld()) hold_point_ = offset;
  }

  /// A call ends: what is neither held nor unread is committed.
  void LeaveCall(IDataBuffer &buffer) noexcept {
    const std::uint32_t committed = IsHeld() ? hold_point_ : position_;
    buffer.SetCommitted(committed);
    position_ -= committed;
    if (IsHeld()) hold_point_ = 0;
  }

  std::uint32_t call_offset() const noexcept { return call_offset_; }
  /// Buffer index of the next byte to decode.
  std::uint32_t position() const noexcept { return position_; }
  /// Buffer index from which output is held back; `UNKNOWN` when nothing is held.
  std::uint32_t hold_point() const noexcept { return hold_point_; }
  bool IsHeld() const noexcept { return hold_point_ != UNKNOWN; }
  /// The position relative to the hold point; wraps around when nothing is held.
  std::uint32_t Relative() const noexcept { return position_ - hold_point_; }

  void HoldFromHere() noexcept {
    if (!IsHeld()) hold_point_ = position_;
  }
  void DropHold() noexcept { hold_point_ = UNKNOWN; }
  void GoToCallOffset() noexcept { position_ = call_offset_; }

  /// Moves on by consumed bytes; never past `end`, the chunk's end.
  void Advance(std::uint32_t bytes, std::uint32_t end) noexcept {
    position_ = std::min(position_ + bytes, end);
  }
  /// Follows a change of the page's length. Whatever handlers say, the position stays between the
  /// first byte that is still here to be changed and the chunk's end.
  void Follow(std::int32_t change, std::uint32_t end) noexcept {
    const std::int64_t lowest = IsHeld() ? hold_point_ : call_offset_;
    const std::int64_t moved = std::int64_t{position_} + change;
    position_ = static_cast<std::uint32_t>(std::max(lowest, std::min(moved, std::int64_t{end})));
  }

 private:
  std::uint32_t call_offset_ = 0;
  std::uint32_t position_ = 0;
  std::uint32_t hold_point_ = UNKNOWN;
};

}  // namespace velmora
