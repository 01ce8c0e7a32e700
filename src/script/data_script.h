// CDataScript: handlers for bodies, and for inline texts of pages, that are scripts.
//
// A script passes whole or becomes one space. It goes without a look at it when the user blocks its
// language, chunk by chunk as it arrives; otherwise it is held until it is complete, lexed, and its
// string literals are examined for Flash and advertisements.
#pragma once

#include <cstdint>

#include "core/ad_blocking.h"
#include "core/content_handler.h"
#include "script/lexers.h"
#include "script/string_scanner.h"

namespace velmora {

class CDataScript : public CContentHandler {
 protected:
  /// `ads` must outlive the object.
  CDataScript(const AdBlocking &ads, Lexer lexer, const ScriptCategories &categories) noexcept
      : ads_(ads), lexer_(lexer), categories_(categories) {}

  void Process(const Chunk &chunk) override;

 private:
  /// True when the complete script in `chunk` carries something that was reported.
  bool HasFinding(const Chunk &chunk);
  void Neutralise(const Chunk &chunk) const;

  const AdBlocking &ads_;
  const Lexer lexer_;
  const ScriptCategories categories_;
  /// Of the last complete script. Chunks of a blocked language are replaced before anybody looks at
  /// their encoding, so by what stands here.
  bool is_unicode_ = false;
  bool big_endian_ = false;
};

class CDataJS final : public CDataScript {
 public:
  explicit CDataJS(const AdBlocking &ads) noexcept
      : CDataScript(ads, LexJavaScript, JAVASCRIPT_CATEGORIES) {}
};

class CDataVBS final : public CDataScript {
 public:
  explicit CDataVBS(const AdBlocking &ads) noexcept
      : CDataScript(ads, LexVBScript, VBSCRIPT_CATEGORIES) {}
};

}  // namespace velmora
