#include "script/string_scanner.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <memory>
#include <new>

#include "core/report.h"
#include "core/settings.h"
#include "core/strings.h"
#include "diag/log.h"
#include "platform/character_classes.h"

namespace velmora {
namespace {

constexpr std::string_view FLASH_CLASS_ID = "D27CDB6E-AE6D-11CF-96B8-444553540000";
constexpr std::string_view FLASH_MIME_TYPE = "application/x-shockwave-flash";
constexpr std::string_view WIDTH = "width";
constexpr std::string_view HEIGHT = "height";

/// Bytes of a string in one line of the dump.
constexpr std::size_t DUMP_PIECE = 80;

void Dump(std::string_view text) {
  Log("======== SCRIPT STRING ========\n");
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), DUMP_PIECE))) {
    std::array<char, DUMP_PIECE + 1> piece{};
    text.copy(piece.data(), DUMP_PIECE);
    Log("%s\n", piece.data());
  }
  Log("\n");
}

/// The bytes that one of the words above can begin with, in either case.
class FirstBytes {
 public:
  consteval FirstBytes(std::initializer_list<std::string_view> words) {
    for (const std::string_view word : words) {
      marked_[static_cast<unsigned char>(platform::ToLowerAscii(word.front()))] = true;
      marked_[static_cast<unsigned char>(platform::ToUpperAscii(word.front()))] = true;
    }
  }
  bool Contains(char byte) const noexcept { return marked_[static_cast<unsigned char>(byte)]; }

 private:
  std::array<bool, 256> marked_{};
};
constexpr FirstBytes FIRST_BYTES{FLASH_CLASS_ID, FLASH_MIME_TYPE, WIDTH, HEIGHT};

/// Memory for one text at a time.
class TextBuffer {
 public:
  /// Room for `length` bytes; null when there is none.
  char *Room(std::uint32_t length) noexcept {
    if (text_ == nullptr || length > size_) {
      text_.reset(new (std::nothrow) char[length]);
      size_ = length;
    }
    return text_.get();
  }

 private:
  std::unique_ptr<char[]> text_;
  std::uint32_t size_ = 0;
};

void SkipSpace(std::string_view &text) noexcept {
  while (!text.empty() && platform::IsSpaceAscii(text.front())) text.remove_prefix(1);
}

/// Reads the value after an attribute word: `=`, perhaps one quote, and digits, with white space
/// around the `=`. Wraps in 32 bits.
bool ParseValue(std::string_view text, std::int32_t &value) noexcept {
  SkipSpace(text);
  if (text.size() < 2 || text.front() != '=') return false;
  text.remove_prefix(1);
  SkipSpace(text);
  if (!text.empty() && IsQuote(text.front())) text.remove_prefix(1);
  if (text.empty() || !platform::IsDigitAscii(text.front())) return false;
  std::uint32_t number = 0;
  for (; !text.empty() && platform::IsDigitAscii(text.front()); text.remove_prefix(1)) {
    number = number * 10 + static_cast<std::uint32_t>(text.front() - '0');
  }
  value = static_cast<std::int32_t>(number);
  return true;
}

}  // namespace

EnabledCategories::EnabledCategories(IDataContext &context,
                                     const ScriptCategories &categories) noexcept
    : block_all(IsFeatureEnabled(context, categories.block_all)),
      flash(IsFeatureEnabled(context, categories.flash)),
      ad_sizes(IsFeatureEnabled(context, categories.ad_sizes)),
      ad_urls(IsFeatureEnabled(context, categories.ad_urls)) {}

CScriptStringScanner::CScriptStringScanner(IDataContext &context, const AdBlocking &ads,
                                           const ScriptCategories &categories)
    : context_(&context),
      ads_(ads),
      categories_(categories),
      enabled_(context, categories),
      dump_strings_(IsSettingTrue(context, SETTING_DUMP_SCRIPT_STRINGS)) {
  if (!ads.IsBound()) return;
  const char *host = context.GetProperty(PROPERTY_HOST);
  if (host != nullptr) host_ = host;
}

bool CScriptStringScanner::Check(std::string_view text) {
  if (dump_strings_) Dump(text);
  const bool asks_urls = enabled_.ad_urls && ads_.IsBound();
  for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(1)) {
    const bool can_begin = FIRST_BYTES.Contains(rest.front());
    if (can_begin && enabled_.flash && CheckFlash(rest)) return true;
    if (asks_urls && !suppress_ads_) CheckUrl(rest);
    if (can_begin && enabled_.ad_sizes && !suppress_ads_ && !ad_found_) CheckSizes(rest);
  }
  return false;
}

bool CScriptStringScanner::CheckFlash(std::string_view rest) {
  for (const std::string_view signature : {FLASH_MIME_TYPE, FLASH_CLASS_ID}) {
    if (StartsWithNoCase(rest, signature)) {
      finding_category_ = categories_.flash;
      finding_text_ = QuoteValue(signature);
      return true;
    }
  }
  return false;
}

void CScriptStringScanner::CheckUrl(std::string_view rest) {
  std::string reason;
  const std::uint8_t answer = ads_.CheckUrlText(host_, rest, reason, suppress_ads_);
  if (answer == 0 || suppress_ads_ || ad_found_) return;
  finding_category_ = categories_.ad_urls;
  finding_text_ = QuoteValue(reason);
  ad_found_ = true;
}

void CScriptStringScanner::CheckSizes(std::string_view rest) {
  const auto read = [rest](std::string_view word, std::int32_t &value) {
    return StartsWithNoCase(rest, word) && ParseValue(rest.substr(word.size()), value);
  };
  if (!read(WIDTH, width_) && !read(HEIGHT, height_)) return;
  if (!ads_.CheckSize(host_, width_, height_)) return;
  finding_category_ = categories_.ad_sizes;
  finding_text_ = SizeText(width_, height_);
  ad_found_ = true;
}

bool CScriptStringScanner::GetFinding(std::int32_t &category, std::string &text) const {
  // Flash counts whatever the library asked for.
  if (finding_category_ != categories_.flash && (!ad_found_ || suppress_ads_)) return false;
  category = finding_category_;
  text = finding_text_;
  return true;
}

bool ScanScriptStrings(IDataContext &context, const AdBlocking &ads,
                       const ScriptCategories &categories, CScriptTokenList *list) {
  CScriptStringScanner scanner(context, ads, categories);
  TextBuffer buffer;
  const std::uint32_t count = CScriptTokenList::Count(list);
  for (std::uint32_t index = 0; index < count; ++index) {
    TokenCode code = 0;
    if (CScriptTokenList::CodeAt(list, index, &code) != LEX_OK) continue;
    if (TokenClass(code) != TOKEN_STRING) continue;
    std::uint32_t length = 0;
    std::uint32_t position = 0;
    if (CScriptTokenList::TextAt(list, index, &length, &position) != LEX_OK) continue;
    // Behind a very long text the length may be anything: no memory is spent on what is not there.
    if (!CScriptTokenList::HoldsText(list, position, length)) continue;
    char *text = buffer.Room(length);
    if (text == nullptr) continue;
    if (CScriptTokenList::ReadText(list, text, position, length) != LEX_OK) continue;
    if (scanner.Check({text, length})) break;
  }
  std::int32_t category = 0;
  std::string detail;
  if (!scanner.GetFinding(category, detail)) return false;
  ReportBlockedItem(context, category, "", detail);
  return true;
}

}  // namespace velmora
