// CDataScript: handlers for bodies, and for inline texts of pages, that are scripts.
//
// A script passes whole or becomes one space. It goes without a look at it when the user blocks its
// language, chunk by chunk as it arrives; otherwise it is held until it is complete, lexed, and its
// string literals are examined for Flash and advertisements.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/ad_blocking.h"
#include "core/content_handler.h"
#include "script/lexers.h"
#include "script/string_scanner.h"

namespace velmora {

/// Examines the strings of a script in memory, `examined` of them; false when it could not be done
/// to the end.
using StringExaminer = bool (*)(std::string_view script, CScriptStringScanner &scanner,
                                std::uint32_t &examined);

/// What sets one script language apart.
struct ScriptLanguageTraits {
  const ScriptCategories &categories;
  Lexer lexer;
  StringExaminer examine;
};
extern const ScriptLanguageTraits JAVASCRIPT;
extern const ScriptLanguageTraits VBSCRIPT;

class CDataScript : public CContentHandler {
 protected:
  /// `ads` must outlive the object.
  CDataScript(const AdBlocking &ads, const ScriptLanguageTraits &language) noexcept
      : ads_(ads), language_(language) {}

  void Process(const Chunk &chunk) override;

 private:
  /// True when the complete script in `chunk` carries something that was reported.
  bool HasFinding(const Chunk &chunk);
  void Examine(std::string_view script, CScriptStringScanner &scanner) const;
  void Neutralise(const Chunk &chunk) const;

  const AdBlocking &ads_;
  const ScriptLanguageTraits &language_;
  /// Of the last complete script. Chunks of a blocked language are replaced before anybody looks at
  /// their encoding, so by what stands here.
  bool is_unicode_ = false;
  bool big_endian_ = false;
};

class CDataJS final : public CDataScript {
 public:
  explicit CDataJS(const AdBlocking &ads) noexcept : CDataScript(ads, JAVASCRIPT) {}
};

class CDataVBS final : public CDataScript {
 public:
  explicit CDataVBS(const AdBlocking &ads) noexcept : CDataScript(ads, VBSCRIPT) {}
};

}  // namespace velmora
