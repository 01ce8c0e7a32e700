// EditRun: many edits of one tag, front to back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "html/page_chunk.h"

namespace velmora {

/// A host moves all bytes after an edit, and a tag that is not complete lies whole in its buffer:
/// a tag of a megabyte, a fifth of it to be edited, would have it move 100 GB. So only as many
/// edits as real tags call for are given to the page one by one. Those after them are made in a
/// copy of what lies between the first and the last, which then takes its place in one edit.
class EditRun {
 public:
  explicit EditRun(const PageChunk &page) noexcept : page_(page) {}

  /// As `PageChunk::Replace` on the page with all edits so far.
  std::int32_t Replace(std::uint32_t position, std::uint32_t old_length, std::string_view text);
  /// Gives the page what it has not got yet; to be called after the last edit.
  void Finish();

  /// By how much the page has become longer since this was last asked.
  std::int32_t TakeGrowth() noexcept { return std::exchange(growth_, 0); }

 private:
  /// Gives the page an edit.
  std::int32_t Give(std::uint32_t position, std::uint32_t old_length, std::string_view text);
  std::uint32_t Cursor() const noexcept {
    return begin_ + static_cast<std::uint32_t>(before_.size());
  }
  /// The page's bytes that the copy does not hold, from its end on.
  std::string_view Rest() const noexcept;
  void MoveCursor(std::uint32_t position);
  void Drop(std::uint32_t count) noexcept;
  bool IsLarge() const noexcept;

  const PageChunk &page_;
  std::uint32_t made_singly_ = 0;
  std::int32_t growth_ = 0;

  // The copy, in two parts with the cursor between them, and the range of the page that it is of.
  std::string before_;
  /// Last byte first.
  std::string behind_;
  std::uint32_t begin_ = 0;
  std::uint32_t end_ = 0;
};

}  // namespace velmora
