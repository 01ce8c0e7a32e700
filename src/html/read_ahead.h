// ReadAhead: takes many characters of a page at once where it is known what they do.
//
// Beside the loop that decodes one character after the other and gives each to the tokenizer's
// table, which can do without this. In a state that has a run (state_runs.h), the bytes that the
// run covers are taken together. In text and comments all bytes but one are passed over whatever
// characters they are, as memory is searched. It stops where a character is not known, and where
// the end of the bytes may cut one off: the loop goes on from there as if it had never been gone.
//
// With the debug log on, an invalid byte gives a line at the character before it and at itself. So
// then only ASCII is passed over, and the character before any other is left to the loop; rows and
// columns, which only the log shows, are counted.
#pragma once

#include <cstdint>
#include <span>

#include "html/encoding_stack.h"
#include "html/page_chunk.h"
#include "html/page_position.h"
#include "html/text_place.h"
#include "html/tokenizer.h"

namespace velmora {

class ReadAhead {
 public:
  /// All outlive it.
  ReadAhead(const PageChunk &page, PagePosition &position, TextPlace &place,
            const EncodingStack &encodings, Tokenizer &tokenizer)
      : page_(page),
        position_(position),
        place_(place),
        encodings_(encodings),
        tokenizer_(tokenizer) {}

  /// Moves the position over characters of `bytes`, which are the buffer's up to the chunk's end,
  /// with all that the table would do for them; maybe over none.
  void Run(std::span<const std::uint8_t> bytes);

 private:
  void FindHorizon(const CharsetShape &shape, std::span<const std::uint8_t> bytes);
  std::size_t FindEnd(const StateRun &run, const CharsetShape &shape,
                      std::span<const std::uint8_t> bytes) const noexcept;
  void PassOver(const StateRun &run, std::span<const std::uint8_t> bytes, std::size_t end);

  const PageChunk &page_;
  PagePosition &position_;
  TextPlace &place_;
  const EncodingStack &encodings_;
  Tokenizer &tokenizer_;

  /// How far it is safe to read, as long as neither the bytes nor the encoding change.
  std::size_t horizon_ = 0;
  std::uint32_t page_changes_ = 0;
  std::uint32_t encoding_changes_ = 0;
  bool is_logged_ = false;
};

}  // namespace velmora
