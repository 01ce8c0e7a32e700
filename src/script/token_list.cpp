#include "script/token_list.h"

#include <algorithm>
#include <array>
#include <new>

namespace velmora {
namespace {

constexpr std::uint32_t CODES_CACHE = 2048;
constexpr std::uint32_t PAGE_INDEX_CACHE = 512;
constexpr std::uint32_t TEXTS_CACHE = 1536;

constexpr std::uint32_t CODE_SIZE = sizeof(TokenCode);
constexpr std::uint32_t ENTRY_SIZE = sizeof(std::uint32_t);
/// What a text record begins with.
constexpr std::uint32_t LENGTH_SIZE = sizeof(std::uint32_t);

constexpr std::uint32_t PAGE_SIZE = 8192;
/// The bits of a code that hold an offset in a page.
constexpr TokenCode OFFSET_MASK = PAGE_SIZE - 1;
static_assert((TOKEN_CLASS_MASK | OFFSET_MASK) == 0xFFFF);

/// A file's text is copied in pieces of this size.
constexpr std::uint32_t PIECE_SIZE = 256;

LexStatus ToLexStatus(StreamStatus status) noexcept {
  switch (status) {
    case StreamStatus::OK:
      return LEX_OK;
    case StreamStatus::FILE_ERROR:
      return LEX_IO_ERROR;
    case StreamStatus::NO_MEMORY:
      return LEX_NO_MEMORY;
    case StreamStatus::INVALID:
      break;
  }
  return LEX_INVALID;
}

/// The code as the fingerprint sees it: texts and names do not count.
constexpr TokenCode Shape(TokenCode code) noexcept {
  if (CarriesText(code)) return TokenClass(code);
  if (IsUnknownIdentifier(code) || IsKnownIdentifier(code)) return TOKEN_KNOWN_IDENTIFIER;
  return code;
}

}  // namespace

LexStatus CScriptTokenList::Create(const OsServices *services, CScriptTokenList **list,
                                   std::uint32_t wide, std::uint32_t big_endian) noexcept {
  if (services == nullptr || list == nullptr) return LEX_INVALID;
  *list = nullptr;
  void *record = services->Allocate(services, sizeof(CScriptTokenList), FILL_NONE);
  if (record == nullptr) return LEX_NO_MEMORY;
  auto *made = new (record) CScriptTokenList(*services, wide, big_endian);
  made->codes_ = CSpillStream::Create(*services, CODES_CACHE);
  made->page_index_ = CSpillStream::Create(*services, PAGE_INDEX_CACHE);
  made->texts_ = CSpillStream::Create(*services, TEXTS_CACHE);
  const std::uint32_t first_entry = 0;
  if (made->codes_ == nullptr || made->page_index_ == nullptr || made->texts_ == nullptr ||
      made->page_index_->Append(&first_entry, ENTRY_SIZE) != StreamStatus::OK) {
    Destroy(made);
    return LEX_NO_MEMORY;
  }
  *list = made;
  return LEX_OK;
}

LexStatus CScriptTokenList::Destroy(CScriptTokenList *list) noexcept {
  if (list == nullptr) return LEX_INVALID;
  const OsServices &services = list->services_;
  const std::array closed = {CSpillStream::Close(list->codes_),
                             CSpillStream::Close(list->page_index_),
                             CSpillStream::Close(list->texts_)};
  const bool freed = services.Free(&services, list) == nullptr;
  if (std::ranges::count(closed, StreamStatus::FILE_ERROR) > 0) return LEX_IO_ERROR;
  return freed && std::ranges::count(closed, StreamStatus::OK) == 3 ? LEX_OK : LEX_NO_MEMORY;
}

LexStatus CScriptTokenList::Append(TokenCode code) noexcept {
  const LexStatus status = ToLexStatus(codes_->Append(&code, CODE_SIZE));
  if (status != LEX_OK) return status;
  const TokenCode shape = Shape(code);
  fingerprint_ = CrcFoldPair(fingerprint_, static_cast<std::uint8_t>(shape >> 8),
                             static_cast<std::uint8_t>(shape));
  return LEX_OK;
}

LexStatus CScriptTokenList::AppendText(CScriptTokenList *list, TokenCode code, const void *text,
                                       std::uint32_t length) noexcept {
  if (list == nullptr || text == nullptr) return LEX_INVALID;
  const std::uint32_t position = list->texts_->size();
  LexStatus status = list->BeginText(code, length);
  if (status == LEX_OK) status = ToLexStatus(list->texts_->Append(text, length));
  const LexStatus indexed = list->IndexPages(position);
  return list->Note(status == LEX_OK ? indexed : status);
}

LexStatus CScriptTokenList::AppendTextFromFile(CScriptTokenList *list, TokenCode code,
                                               const OsServices *io, void *file,
                                               std::uint32_t offset,
                                               std::uint32_t length) noexcept {
  if (list == nullptr || io == nullptr || file == nullptr) return LEX_INVALID;
  const std::uint32_t position = list->texts_->size();
  LexStatus status = list->BeginText(code, length);
  if (status == LEX_OK) {
    const std::uint32_t kept = io->SeekFile(io, file, 0, FROM_CURRENT);
    if (kept == SERVICE_FAILURE ||
        io->SeekFile(io, file, static_cast<std::int32_t>(offset), FROM_START) == SERVICE_FAILURE) {
      status = LEX_IO_ERROR;
    } else {
      status = list->CopyText(*io, file, length);
      if (io->SeekFile(io, file, static_cast<std::int32_t>(kept), FROM_START) == SERVICE_FAILURE) {
        status = LEX_IO_ERROR;
      }
    }
  }
  const LexStatus indexed = list->IndexPages(position);
  return list->Note(status == LEX_OK ? indexed : status);
}

/// Appends the token's code and its record's length.
LexStatus CScriptTokenList::BeginText(TokenCode code, std::uint32_t length) noexcept {
  const std::uint32_t offset = texts_->size() % PAGE_SIZE;
  const LexStatus status = Append(static_cast<TokenCode>(TokenClass(code) | offset));
  return status == LEX_OK ? ToLexStatus(texts_->Append(&length, LENGTH_SIZE)) : status;
}

LexStatus CScriptTokenList::CopyText(const OsServices &io, void *file,
                                     std::uint32_t length) noexcept {
  std::array<std::uint8_t, PIECE_SIZE> piece;
  while (length > 0) {
    const std::uint32_t wanted = std::min(length, PIECE_SIZE);
    if (io.ReadFile(&io, file, piece.data(), wanted) != wanted) return LEX_IO_ERROR;
    const LexStatus status = ToLexStatus(texts_->Append(piece.data(), wanted));
    if (status != LEX_OK) return status;
    length -= wanted;
  }
  return LEX_OK;
}

/// Makes an entry for every page that the text stream has reached since it was at
/// `first_position`.
LexStatus CScriptTokenList::IndexPages(std::uint32_t first_position) noexcept {
  const std::uint32_t count = Count();
  const std::uint32_t last_page = texts_->size() / PAGE_SIZE;
  for (std::uint32_t page = first_position / PAGE_SIZE; page != last_page; ++page) {
    const LexStatus status = ToLexStatus(page_index_->Append(&count, ENTRY_SIZE));
    if (status != LEX_OK) return status;
    found_ = {};
  }
  return LEX_OK;
}

LexStatus CScriptTokenList::CodeAt(CScriptTokenList *list, std::uint32_t index,
                                   TokenCode *code) noexcept {
  if (list == nullptr || code == nullptr || index >= list->Count()) return LEX_INVALID;
  return ToLexStatus(list->codes_->Read(code, index * CODE_SIZE, CODE_SIZE));
}

LexStatus CScriptTokenList::EntryAt(std::uint32_t page, std::uint32_t *entry) noexcept {
  return ToLexStatus(page_index_->Read(entry, page * ENTRY_SIZE, ENTRY_SIZE));
}

LexStatus CScriptTokenList::FindPage(std::uint32_t index, std::uint32_t *page) noexcept {
  if (index <= found_.after || index >= found_.before) {
    FoundPage found;
    LexStatus status = SearchPage(index, &found.page);
    if (status == LEX_OK) status = EntryAt(found.page, &found.after);
    if (status != LEX_OK) return status;
    if (EntryAt(found.page + 1, &found.before) != LEX_OK) found.before = Count();
    found_ = found;
  }
  *page = found_.page;
  return LEX_OK;
}

/// The search as it decides where two entries are equal.
LexStatus CScriptTokenList::SearchPage(std::uint32_t index, std::uint32_t *page) noexcept {
  std::uint32_t low = 0;
  std::uint32_t high = page_index_->size() / ENTRY_SIZE - 1;
  std::uint32_t entry = 0;
  while (high - low > 1) {
    const std::uint32_t middle = (low + high) / 2;
    if (const LexStatus status = EntryAt(middle, &entry); status != LEX_OK) return status;
    (index > entry ? low : high) = middle;
  }
  if (high > low) {
    if (const LexStatus status = EntryAt(high, &entry); status != LEX_OK) return status;
    if (index >= entry) low = high;
  }
  *page = low;
  return LEX_OK;
}

LexStatus CScriptTokenList::TextAt(CScriptTokenList *list, std::uint32_t index,
                                   std::uint32_t *length, std::uint32_t *position) noexcept {
  if (length == nullptr || position == nullptr) return LEX_INVALID;
  TokenCode code = 0;
  LexStatus status = CodeAt(list, index, &code);
  if (status != LEX_OK) return status;
  if (!CarriesText(code)) return LEX_INVALID;
  std::uint32_t page = 0;
  status = list->FindPage(index, &page);
  if (status != LEX_OK) return status;
  const std::uint32_t record = page * PAGE_SIZE + (code & OFFSET_MASK);
  status = ToLexStatus(list->texts_->Read(length, record, LENGTH_SIZE));
  if (status == LEX_OK) *position = record + LENGTH_SIZE;
  return status;
}

LexStatus CScriptTokenList::ReadText(CScriptTokenList *list, void *buffer, std::uint32_t position,
                                     std::uint32_t length) noexcept {
  if (list == nullptr || buffer == nullptr) return LEX_INVALID;
  return ToLexStatus(list->texts_->Read(buffer, position, length));
}

LexStatus CScriptTokenList::Fingerprint(const CScriptTokenList *list,
                                        std::uint32_t *value) noexcept {
  if (list == nullptr || value == nullptr) return LEX_INVALID;
  *value = list->fingerprint_;
  return LEX_OK;
}

}  // namespace velmora
