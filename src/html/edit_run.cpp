#include "html/edit_run.h"

#include <algorithm>

namespace velmora {
namespace {

/// Tags with more event handlers of one kind than this are made to do harm.
constexpr std::uint32_t MOST_SINGLE_EDITS = 32;

/// A copy of at least this size goes to the page when it has grown to the given part of what lies
/// after it: so the bytes that move are bounded by its own, and so is its memory.
constexpr std::size_t LARGE_COPY = 64U << 10;
constexpr std::size_t LARGE_PART = 16;

}  // namespace

std::int32_t EditRun::Replace(std::uint32_t position, std::uint32_t old_length,
                              std::string_view text) {
  if (made_singly_ < MOST_SINGLE_EDITS) {
    ++made_singly_;
    return Give(position, old_length, text);
  }
  const bool is_empty = begin_ == end_ && before_.empty() && behind_.empty();
  if (is_empty || position < begin_) {
    Finish();
    if (!page_.Contains(position, 0)) return 0;
    begin_ = end_ = position;
  }
  const auto left = static_cast<std::uint32_t>(behind_.size() + Rest().size());
  const std::int64_t room = std::int64_t{Cursor()} + left - position;
  if (room < 0) return 0;
  old_length = static_cast<std::uint32_t>(std::min(std::int64_t{old_length}, room));
  MoveCursor(position);
  Drop(old_length);
  before_.append(text);
  if (IsLarge()) Finish();
  return static_cast<std::int32_t>(text.size() - old_length);
}

void EditRun::Finish() {
  std::reverse(behind_.begin(), behind_.end());
  before_.append(behind_);
  if (begin_ != end_ || !before_.empty()) Give(begin_, end_ - begin_, before_);
  before_.clear();
  behind_.clear();
  begin_ = end_;
}

std::int32_t EditRun::Give(std::uint32_t position, std::uint32_t old_length,
                           std::string_view text) {
  const std::int32_t change = page_.Replace(position, old_length, text);
  growth_ += change;
  return change;
}

std::string_view EditRun::Rest() const noexcept {
  const Chunk &chunk = page_.chunk();
  return {reinterpret_cast<const char *>(chunk.buffer().GetData()) + end_, chunk.End() - end_};
}

void EditRun::MoveCursor(std::uint32_t position) {
  while (position < Cursor()) {
    behind_.push_back(before_.back());
    before_.pop_back();
  }
  const std::uint32_t step = position - Cursor();
  const auto near = static_cast<std::uint32_t>(std::min<std::size_t>(step, behind_.size()));
  before_.append(behind_.rbegin(), behind_.rbegin() + near);
  behind_.erase(behind_.size() - near);
  before_.append(Rest().substr(0, step - near));
  end_ += step - near;
}

void EditRun::Drop(std::uint32_t count) noexcept {
  const auto near = static_cast<std::uint32_t>(std::min<std::size_t>(count, behind_.size()));
  behind_.erase(behind_.size() - near);
  end_ += count - near;
}

bool EditRun::IsLarge() const noexcept {
  const std::size_t size = before_.size() + behind_.size();
  return size >= LARGE_COPY && size >= Rest().size() / LARGE_PART;
}

}  // namespace velmora
