#include "script/string_scanner.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <memory>
#include <new>

#include "core/fast_path.h"
#include "core/host_extensions.h"
#include "core/report.h"
#include "core/settings.h"
#include "core/strings.h"
#include "diag/log.h"
#include "platform/character_classes.h"
#include "script/byte_search.h"

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

/// Where one of the words above can begin: two of its bytes stand there.
using Candidate =
    Any<All<LetterAt<0, 'd'>, At<2, '7'>>, All<LetterAt<0, 'a'>, LetterAt<2, 'p'>>,
        All<LetterAt<0, 'w'>, LetterAt<2, 'd'>>, All<LetterAt<0, 'h'>, LetterAt<2, 'i'>>>;
/// The shortest text in which there is something to find: a width of one digit.
constexpr std::size_t SHORTEST_FINDING = WIDTH.size() + 2;

/// Bounds what is examined of one script. Texts read back wrong can each be as long as the script;
/// the others come to its size at most.
class ExaminationLimit {
 public:
  ExaminationLimit(IDataContext &context, const CScriptTokenList *list) noexcept
      : context_(context), surely_allowed_(std::uint64_t{16} * CScriptTokenList::TextSize(list)) {}

  /// May the next text be examined?
  bool Allows(std::uint32_t length) noexcept {
    examined_ += length;
    if (examined_ <= surely_allowed_ || length <= CScriptTokenList::LONGEST_PLAIN_TEXT) return true;
    if (most_ == 0) most_ = surely_allowed_ + MostMisreadBytes(context_);
    return examined_ <= most_;
  }

 private:
  IDataContext &context_;
  const std::uint64_t surely_allowed_;
  std::uint64_t examined_ = 0;
  /// Not asked for as long as it is 0.
  std::uint64_t most_ = 0;
};

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
      library_(ads),
      categories_(categories),
      enabled_(context, categories),
      dump_strings_(IsSettingTrue(context, SETTING_DUMP_SCRIPT_STRINGS)),
      asks_urls_(enabled_.ad_urls && library_) {
  if (!library_) return;
  const char *host = context.GetProperty(PROPERTY_HOST);
  if (host != nullptr) host_ = host;
}

bool CScriptStringScanner::LooksForAnything() const noexcept {
  return dump_strings_ || enabled_.flash || asks_urls_ || (enabled_.ad_sizes && library_);
}

bool CScriptStringScanner::Check(std::string_view text, std::size_t readable) {
  if (dump_strings_) Dump(text);
  return UsesFastPath() ? CheckCandidates(text, readable) : CheckEveryByte(text);
}

bool CScriptStringScanner::CheckEveryByte(std::string_view text) {
  for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(1)) {
    if (enabled_.flash && CheckFlash(rest)) return true;
    CheckUrls(rest, 1);
    CheckSizes(rest);
  }
  return false;
}

/// The same, with a look at those bytes alone at which something can begin.
bool CScriptStringScanner::CheckCandidates(std::string_view text, std::size_t readable) {
  const char *const end = text.data() + text.size();
  const auto rest_from = [end](const char *place) {
    return std::string_view(place, static_cast<std::size_t>(end - place));
  };
  const char *asked = text.data();
  while (true) {
    const std::string_view rest = rest_from(asked);
    const char *candidate = end;
    if (rest.size() >= SHORTEST_FINDING) {
      candidate = std::min(FindBytes<Candidate>(asked, end, end + readable), end);
    }
    CheckUrls(rest, static_cast<std::size_t>(candidate - asked));
    if (candidate == end) return false;
    if (enabled_.flash && CheckFlash(rest_from(candidate))) return true;
    CheckUrls(rest_from(candidate), 1);
    CheckSizes(rest_from(candidate));
    asked = candidate + 1;
  }
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

/// Asks at the first `count` bytes of what is left of a text.
void CScriptStringScanner::CheckUrls(std::string_view rest, std::size_t count) {
  std::string reason;
  while (count > 0 && asks_urls_ && !suppress_ads_) {
    std::uint8_t answer = 0;
    const std::size_t asked =
        CheckUrlText(*library_.get(), host_, rest, count, answer, reason, suppress_ads_);
    rest.remove_prefix(asked);
    count -= asked;
    if (answer == 0 || suppress_ads_ || ad_found_) continue;
    finding_category_ = categories_.ad_urls;
    finding_text_ = QuoteValue(reason);
    ad_found_ = true;
  }
}

void CScriptStringScanner::CheckSizes(std::string_view rest) {
  if (!enabled_.ad_sizes || !library_ || suppress_ads_ || ad_found_) return;
  const auto read = [rest](std::string_view word, std::int32_t &value) {
    return StartsWithNoCase(rest, word) && ParseValue(rest.substr(word.size()), value);
  };
  if (!read(WIDTH, width_) && !read(HEIGHT, height_)) return;
  if (library_->CheckSize(host_, width_, height_) == 0) return;
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

Examination ExamineStrings(IDataContext &context, CScriptTokenList *list,
                           CScriptStringScanner &scanner, std::uint32_t skip) {
  TextBuffer buffer;
  ExaminationLimit limit(context, list);
  bool is_whole = CScriptTokenList::IsWhole(list);
  bool is_beyond = false;
  const std::uint32_t count = CScriptTokenList::Count(list);
  for (std::uint32_t index = 0; index < count; ++index) {
    TokenCode code = 0;
    if (CScriptTokenList::CodeAt(list, index, &code) != LEX_OK) {
      is_whole = false;
      continue;
    }
    if (TokenClass(code) != TOKEN_STRING) continue;
    if (skip > 0) {
      --skip;
      continue;
    }
    std::uint32_t length = 0;
    std::uint32_t position = 0;
    const LexStatus status = CScriptTokenList::TextAt(list, index, &length, &position);
    // After a very long text the length may be anything: no memory is spent on what is not there.
    if (status == LEX_INVALID) continue;
    if (status == LEX_OK && !CScriptTokenList::HoldsText(list, position, length)) continue;
    if (status == LEX_OK && !limit.Allows(length)) {
      is_beyond = true;
      continue;
    }
    char *const text = status == LEX_OK ? buffer.Room(length) : nullptr;
    if (text == nullptr || CScriptTokenList::ReadText(list, text, position, length) != LEX_OK) {
      is_whole = false;
      continue;
    }
    if (scanner.Check({text, length})) return Examination::WHOLE;
  }
  return !is_whole   ? Examination::INCOMPLETE
         : is_beyond ? Examination::BEYOND_LIMIT
                     : Examination::WHOLE;
}

bool ScanScriptStrings(IDataContext &context, const AdBlocking &ads,
                       const ScriptCategories &categories, CScriptTokenList *list) {
  CScriptStringScanner scanner(context, ads, categories);
  ExamineStrings(context, list, scanner);
  return ReportFinding(context, scanner);
}

bool ReportFinding(IDataContext &context, const CScriptStringScanner &scanner) {
  std::int32_t category = 0;
  std::string detail;
  if (!scanner.GetFinding(category, detail)) return false;
  ReportBlockedItem(context, category, "", detail);
  return true;
}

}  // namespace velmora
