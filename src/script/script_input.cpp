#include "script/script_input.h"

#include <algorithm>

namespace velmora {

ScriptInput::ScriptInput(const ScriptSource &source) noexcept
    : io_(source.io),
      is_file_(source.is_file),
      file_(is_file_ ? source.source : nullptr),
      memory_(is_file_ ? nullptr : static_cast<const std::uint8_t *>(source.source)),
      width_(source.wide ? 2 : 1),
      big_endian_(source.big_endian),
      to_end_(is_file_ && source.length == LENGTH_TO_END),
      remaining_(source.length - source.length % width_),
      block_base_(is_file_ ? source.start : 0),
      block_(is_file_ ? bytes_.data() : memory_) {}

bool ScriptInput::Open() noexcept {
  if (!is_file_) return memory_ != nullptr || remaining_ == 0;
  return io_ != nullptr && file_ != nullptr &&
         io_->SeekFile(io_, file_, static_cast<std::int32_t>(block_base_), FROM_START) !=
             SERVICE_FAILURE;
}

bool ScriptInput::ReadBlock() noexcept {
  block_base_ += block_length_;
  block_length_ = 0;
  next_ = limit_ = units_.data();
  // A file of 16-bit units may end in a stray byte, which is passed over.
  std::uint32_t length = 0;
  while (block_length_ == 0) {
    length = ReadBytes();
    if (length == 0) return false;
    block_length_ = length - length % width_;
  }
  Spread();
  return true;
}

std::uint32_t ScriptInput::ReadBytes() noexcept {
  const std::uint32_t wanted = to_end_ ? BLOCK_SIZE : std::min(remaining_, BLOCK_SIZE);
  if (!is_file_) {
    block_ = memory_ + block_base_;
    remaining_ -= wanted;
    return wanted;
  }
  if (wanted == 0) return 0;
  const std::uint32_t length = io_->ReadFile(io_, file_, bytes_.data(), wanted);
  if (length > wanted || (length < wanted && !to_end_)) {
    failed_ = true;
    return 0;
  }
  if (!to_end_) remaining_ -= length;
  return length;
}

void ScriptInput::Spread() noexcept {
  const std::uint32_t count = block_length_ / width_;
  limit_ = units_.data() + count;
  if (width_ == 1) {
    std::copy_n(block_, count, units_.data());
    return;
  }
  const std::size_t high = big_endian_ ? 0 : 1;
  for (std::size_t i = 0; i < count; ++i) {
    units_[i] = static_cast<char16_t>(block_[2 * i + high] << 8 | block_[2 * i + 1 - high]);
  }
}

LexStatus ScriptInput::AppendText(CScriptTokenList *list, TokenCode code, std::uint32_t begin,
                                  std::uint32_t end) const noexcept {
  const std::uint32_t length = end - begin;
  if (!is_file_) return CScriptTokenList::AppendText(list, code, memory_ + begin, length);
  if (begin >= block_base_) {
    return CScriptTokenList::AppendText(list, code, block_ + (begin - block_base_), length);
  }
  return CScriptTokenList::AppendTextFromFile(list, code, io_, file_, begin, length);
}

}  // namespace velmora
