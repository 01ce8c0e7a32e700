// CScriptTokenList: the tokens of one script, in bounded memory.
//
// Three streams hold a list: the 16-bit codes; the records of the tokens that carry text, each a
// 32-bit length and that many bytes of source text; and the page index. The text stream is cut in
// thought into pages of 8192 bytes. A token's code holds the offset of its record in its page, and
// the page index tells the page: entry k is the number of tokens that the list had when the text
// stream first reached page k. A record that crosses several pages makes several equal entries, of
// which the search finds the first: the one token after a text longer than a page is read back from
// a page too early.
#pragma once

#include <cstdint>
#include <memory>

#include "script/crc32.h"
#include "script/os_services.h"
#include "script/spill_stream.h"
#include "script/token_codes.h"

namespace velmora {

enum LexStatus : std::int32_t {
  LEX_OK = 0,
  /// A file operation failed.
  LEX_IO_ERROR = 1,
  LEX_NO_MEMORY = 2,
  /// A missing argument, an index or a range that is not there, a token without text.
  LEX_INVALID = 3,
};

/// Every operation takes the list first; none (null) is an empty list that takes nothing.
class CScriptTokenList {
 public:
  /// The text after one that is longer than this may be read back from a page too early.
  static constexpr std::uint32_t LONGEST_PLAIN_TEXT = 8192 - sizeof(std::uint32_t);

  static LexStatus Create(const OsServices *services, CScriptTokenList **list, std::uint32_t wide,
                          std::uint32_t big_endian) noexcept;
  static LexStatus Destroy(CScriptTokenList *list) noexcept;

  static LexStatus AppendCode(CScriptTokenList *list, TokenCode code) noexcept {
    return list == nullptr ? LEX_INVALID : list->Note(list->Append(code));
  }
  /// Appends a token with text; of `code` only the class counts.
  static LexStatus AppendText(CScriptTokenList *list, TokenCode code, const void *text,
                              std::uint32_t length) noexcept;
  /// The same with text that stands at `offset` of a file, whose position is kept.
  static LexStatus AppendTextFromFile(CScriptTokenList *list, TokenCode code, const OsServices *io,
                                      void *file, std::uint32_t offset,
                                      std::uint32_t length) noexcept;

  static std::uint32_t Count(const CScriptTokenList *list) noexcept {
    return list == nullptr ? 0 : list->Count();
  }
  static LexStatus CodeAt(CScriptTokenList *list, std::uint32_t index, TokenCode *code) noexcept;
  /// False when the list lacks a token or a text, because an append failed.
  static bool IsWhole(const CScriptTokenList *list) noexcept {
    return list != nullptr && list->is_whole_;
  }
  /// Bytes of the text stream.
  static std::uint32_t TextSize(const CScriptTokenList *list) noexcept {
    return list == nullptr ? 0 : list->texts_->size();
  }
  /// Where a token's text stands in the text stream. After a text longer than a page both may be
  /// anything: `HoldsText` tells whether there is such a text.
  static LexStatus TextAt(CScriptTokenList *list, std::uint32_t index, std::uint32_t *length,
                          std::uint32_t *position) noexcept;
  static bool HoldsText(const CScriptTokenList *list, std::uint32_t position,
                        std::uint32_t length) noexcept {
    return list != nullptr && list->texts_->Holds(position, length);
  }
  static LexStatus ReadText(CScriptTokenList *list, void *buffer, std::uint32_t position,
                            std::uint32_t length) noexcept;

  /// A CRC of the script's shape: keywords, operators, and where identifiers, numbers and strings
  /// stand, whatever they read.
  static LexStatus Fingerprint(const CScriptTokenList *list, std::uint32_t *value) noexcept;
  /// The lexer's arguments, recorded.
  static std::uint32_t Wide(const CScriptTokenList *list) noexcept {
    return list == nullptr ? 0 : list->wide_;
  }
  static std::uint32_t BigEndian(const CScriptTokenList *list) noexcept {
    return list == nullptr ? 0 : list->big_endian_;
  }

 private:
  CScriptTokenList(const OsServices &services, std::uint32_t wide,
                   std::uint32_t big_endian) noexcept
      : services_(services), wide_(wide), big_endian_(big_endian) {}

  std::uint32_t Count() const noexcept { return codes_->size() / std::uint32_t{sizeof(TokenCode)}; }
  LexStatus Note(LexStatus appended) noexcept {
    is_whole_ = is_whole_ && appended == LEX_OK;
    return appended;
  }
  LexStatus Append(TokenCode code) noexcept;
  LexStatus BeginText(TokenCode code, std::uint32_t length) noexcept;
  LexStatus CopyText(const OsServices &io, void *file, std::uint32_t length) noexcept;
  LexStatus IndexPages(std::uint32_t first_position) noexcept;
  LexStatus FindPage(std::uint32_t index, std::uint32_t *page) noexcept;
  LexStatus SearchPage(std::uint32_t index, std::uint32_t *page) noexcept;
  LexStatus EntryAt(std::uint32_t page, std::uint32_t *entry) noexcept;

  const OsServices &services_;
  CSpillStream *codes_ = nullptr;
  CSpillStream *page_index_ = nullptr;
  CSpillStream *texts_ = nullptr;
  std::uint32_t fingerprint_ = CRC_START;
  /// The page that was found last, and between which entries: most searches end where the one
  /// before did.
  struct FoundPage {
    std::uint32_t page = 0;
    std::uint32_t after = 0;
    std::uint32_t before = 0;
  };
  FoundPage found_;
  bool is_whole_ = true;
  const std::uint32_t wide_;
  const std::uint32_t big_endian_;
};

/// Owns a token list.
struct TokenListDeleter {
  void operator()(CScriptTokenList *list) const noexcept { CScriptTokenList::Destroy(list); }
};
using TokenListPointer = std::unique_ptr<CScriptTokenList, TokenListDeleter>;

}  // namespace velmora
