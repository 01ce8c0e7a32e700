// CScriptStringScanner: looks for Flash and advertisements in the string literals of a script.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <velmora/categories.h>
#include <velmora/data_context.h>

#include "base/counted_pointer.h"
#include "core/ad_blocking.h"
#include "script/token_list.h"

namespace velmora {

/// The categories of one script language.
struct ScriptCategories {
  std::int32_t block_all;
  std::int32_t flash;
  std::int32_t ad_sizes;
  std::int32_t ad_urls;
};

inline constexpr ScriptCategories JAVASCRIPT_CATEGORIES{
    CATEGORY_JAVASCRIPT, CATEGORY_JAVASCRIPT_FLASH, CATEGORY_JAVASCRIPT_AD_SIZES,
    CATEGORY_JAVASCRIPT_AD_URLS};
inline constexpr ScriptCategories VBSCRIPT_CATEGORIES{CATEGORY_VBSCRIPT, CATEGORY_VBSCRIPT_FLASH,
                                                      CATEGORY_VBSCRIPT_AD_SIZES,
                                                      CATEGORY_VBSCRIPT_AD_URLS};

/// What the host says of them when a script is complete.
struct EnabledCategories {
  /// Asks for all four, in this order.
  EnabledCategories(IDataContext &context, const ScriptCategories &categories) noexcept;

  bool block_all;
  bool flash;
  bool ad_sizes;
  bool ad_urls;
};

/// Examines the strings of one script, in order, and keeps what it found: Flash ends the search; of
/// the advertisements the first one counts, and only if the ad-blocking library asks nowhere in the
/// script that they be let through.
class CScriptStringScanner {
 public:
  CScriptStringScanner(IDataContext &context, const AdBlocking &ads,
                       const ScriptCategories &categories);

  /// False: whatever the strings are, nothing would be found, asked or logged.
  bool LooksForAnything() const noexcept;
  /// True: no further string needs to be examined. `readable` bytes after the text may be read,
  /// whatever they are.
  bool Check(std::string_view text, std::size_t readable = 0);
  /// The finding's category and the text that describes it; false when there is none.
  bool GetFinding(std::int32_t &category, std::string &text) const;

 private:
  bool CheckEveryByte(std::string_view text);
  bool CheckCandidates(std::string_view text, std::size_t readable);
  bool CheckFlash(std::string_view rest);
  void CheckUrls(std::string_view rest, std::size_t count);
  void CheckSizes(std::string_view rest);

  CountedPointer<IDataContext> context_;
  const AdLibraryUse library_;
  const ScriptCategories categories_;
  /// The host of every check: the transaction's.
  const char *host_ = "";
  const EnabledCategories enabled_;
  const bool dump_strings_;
  const bool asks_urls_;

  bool suppress_ads_ = false;
  bool ad_found_ = false;
  std::int32_t finding_category_ = 0;
  std::string finding_text_;
  /// As last seen in any string of the script: a width in one string meets a height in another.
  std::int32_t width_ = 0;
  std::int32_t height_ = 0;
};

enum class Examination {
  /// Of all that there is, or as far as was needed.
  WHOLE,
  /// The list or a string of it could not be had, and that might have mattered.
  INCOMPLETE,
  /// The misread strings were more than the host allows.
  BEYOND_LIMIT,
};

/// Examines the strings of a token list after the first `skip`.
Examination ExamineStrings(IDataContext &context, CScriptTokenList *list,
                           CScriptStringScanner &scanner, std::uint32_t skip = 0);

/// Examines all strings of a token list and reports a finding to the host; true when there was one.
bool ScanScriptStrings(IDataContext &context, const AdBlocking &ads,
                       const ScriptCategories &categories, CScriptTokenList *list);
/// Reports what a scanner has found to the host; true when there was something.
bool ReportFinding(IDataContext &context, const CScriptStringScanner &scanner);

}  // namespace velmora
