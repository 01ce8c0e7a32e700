// ScriptInput: the source of a lexer as a sequence of 16-bit units.
//
// The source is memory or a file, of 8-bit or 16-bit units in either byte order. It is never held
// whole: it is read in blocks of 256 bytes, each of which is spread into units when it is read, so
// that what follows is the same for all forms of input.
#pragma once

#include <array>
#include <cstdint>

#include "script/lexers.h"
#include "script/os_services.h"
#include "script/token_list.h"

namespace velmora {

/// What a `Lexer` is told of its source.
struct ScriptSource {
  const OsServices *io;
  void *source;
  bool is_file;
  bool wide;
  bool big_endian;
  std::uint32_t start;
  std::uint32_t length;
};

class ScriptInput {
 public:
  explicit ScriptInput(const ScriptSource &source) noexcept;
  ScriptInput(const ScriptInput &) = delete;
  ScriptInput &operator=(const ScriptInput &) = delete;

  /// Goes to the source's start; false when it cannot.
  bool Open() noexcept;

  /// Takes one unit; false at the end of the input and where it cannot be read (`HasFailed`).
  bool Take(char16_t &unit) noexcept {
    if (next_ == limit_ && !ReadBlock()) return false;
    unit = *next_++;
    return true;
  }
  /// The unit taken last will be taken again.
  void PushBack() noexcept { --next_; }
  /// Passes over the following units as long as `pass` agrees, at most to the end of the block.
  template <class Predicate>
  void PassWhile(Predicate pass) noexcept {
    const char16_t *next = next_;
    while (next != limit_ && pass(*next)) ++next;
    next_ = next;
  }
  bool HasFailed() const noexcept { return failed_; }

  /// Offset in the source of the unit taken last, of the one before it, and of the next one.
  std::uint32_t Here() const noexcept { return After() - width_; }
  std::uint32_t Before() const noexcept { return After() - 2 * width_; }
  std::uint32_t After() const noexcept {
    return block_base_ + static_cast<std::uint32_t>(next_ - units_.data()) * width_;
  }

  /// Appends a token with the source's bytes [begin, end) as its text.
  LexStatus AppendText(CScriptTokenList *list, TokenCode code, std::uint32_t begin,
                       std::uint32_t end) const noexcept;

 private:
  static constexpr std::uint32_t BLOCK_SIZE = 256;

  bool ReadBlock() noexcept;
  /// Reads at most a block; how much it was, 0 at the end of the input and on failure.
  std::uint32_t ReadBytes() noexcept;
  void Spread() noexcept;

  const OsServices *const io_;
  const bool is_file_;
  void *const file_;
  /// The first byte of a memory source.
  const std::uint8_t *const memory_;
  const std::uint32_t width_;
  const bool big_endian_;
  const bool to_end_;
  /// Bytes not read yet, unless the source is read to its end.
  std::uint32_t remaining_;
  bool failed_ = false;

  /// Offset of the block's first byte.
  std::uint32_t block_base_;
  std::uint32_t block_length_ = 0;
  /// The block of a file.
  std::array<std::uint8_t, BLOCK_SIZE> bytes_;
  const std::uint8_t *block_;
  std::array<char16_t, BLOCK_SIZE> units_;
  const char16_t *next_ = units_.data();
  const char16_t *limit_ = units_.data();
};

}  // namespace velmora
