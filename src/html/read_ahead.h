// ReadAhead: takes many characters of a page at once where it is known what they do.
//
// Beside the loop that decodes one character after the other and gives each to the tokenizer's
// table, which can do without this.
//   - In a state that has a run (state_runs.h), the bytes that the run covers are taken together.
//     In text and comments all bytes but one are passed over, whatever characters they are.
//   - In text a tag that is a usual one (tag_scanner.h) is read whole, up to the character after
//   it.
//     If a handler may be interested in it, the tokenizer gets it as if it had read it itself, and
//     the character after it completes it. If nobody is, the element is only remembered.
//   - In raw text the end tag is found, and every other "<" is passed over.
// It stops where a character is not known, and where the end of the bytes may cut one off: the loop
// goes on from there as if it had never been gone.
//
// With the debug log on, an invalid byte gives a line at the character before it and at itself. So
// then only ASCII is passed over, and the character before any other is left to the loop; rows and
// columns, which only the log shows, are counted.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "html/encoding_stack.h"
#include "html/handler_list.h"
#include "html/open_elements.h"
#include "html/page_chunk.h"
#include "html/page_position.h"
#include "html/tag_scanner.h"
#include "html/text_place.h"
#include "html/tokenizer.h"

namespace velmora {

class ReadAhead {
 public:
  /// All outlive it.
  ReadAhead(const PageChunk &page, PagePosition &position, TextPlace &place,
            const EncodingStack &encodings, const HandlerList &handlers, OpenElements &elements,
            Tokenizer &tokenizer)
      : page_(page),
        position_(position),
        place_(place),
        encodings_(encodings),
        handlers_(handlers),
        elements_(elements),
        tokenizer_(tokenizer) {}

  /// A call begins, with other bytes at its end.
  void EnterCall() noexcept { tail_ = 0; }
  /// Moves the position over characters of `bytes`, which are the buffer's up to the chunk's end,
  /// with all that the table would do for them; maybe over none.
  void Run(std::span<const std::uint8_t> bytes);
  /// Directly after `Run`: completes a tag that has its ">", if the next character is one that
  /// need not be decoded for that. So tags that follow each other are all taken whole. True when
  /// it did.
  bool CompleteTag();

 private:
  void FindHorizon(const CharsetShape &shape);
  bool IsAtHorizon() const noexcept { return position_.position() >= horizon_; }
  std::span<const std::uint8_t> UpToHorizon() const noexcept;

  void TakeRun(const StateRun &run, const CharsetShape &shape);
  void TakeWideRun(const StateRun &run, const CharsetShape &shape);
  std::size_t FindEnd(const StateRun &run, const CharsetShape &shape) const noexcept;
  /// False, with nothing done, when the tag is to be read character by character; the same below.
  bool TakeTag(const CharsetShape &shape);
  unsigned Wanted() const noexcept;
  bool IsIdle(unsigned wanted, const CharsetShape &shape) const;
  bool HoldsScriptLink() const noexcept;
  void TakeInterestingTag();
  std::string Decode(ScannedTag::Token token) const;
  bool TakeInRawText(const CharsetShape &shape);
  bool IsKnown(const CharsetShape &shape, std::size_t index) const noexcept;
  bool IsWholeCharacter(const CharsetShape &shape, std::size_t index) const;
  void MoveOver(std::size_t size);

  const PageChunk &page_;
  PagePosition &position_;
  TextPlace &place_;
  const EncodingStack &encodings_;
  const HandlerList &handlers_;
  OpenElements &elements_;
  Tokenizer &tokenizer_;

  std::span<const std::uint8_t> bytes_;
  /// How far it is safe to read, as long as neither the bytes nor the encoding change.
  std::size_t horizon_ = 0;
  /// How far from the end that was. An edit seldom changes it, and to find it anew may mean to go
  /// back over many bytes.
  std::size_t tail_ = 0;
  std::uint32_t page_changes_ = 0;
  std::uint32_t encoding_changes_ = 0;
  bool is_logged_ = false;
  ScannedTag tag_;
};

}  // namespace velmora
