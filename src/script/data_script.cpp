#include "script/data_script.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>

#include "core/byte_order.h"
#include "core/fast_path.h"
#include "core/host_extensions.h"
#include "core/report.h"
#include "core/settings.h"
#include "core/switches.h"
#include "diag/log.h"
#include "script/spill_services.h"
#include "script/string_reader.h"

namespace velmora {
namespace {

/// The ASCII characters of a 16-bit text as bytes. Every other unit is logged and dropped, a
/// byte-order mark among them; so is a byte that is left over.
std::string NarrowUnits(std::span<const std::uint8_t> bytes, bool big_endian) {
  if (bytes.size() % 2 != 0) Log("*** Odd number of bytes in Unicode script.");
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const std::uint8_t high = big_endian ? bytes[i] : bytes[i + 1];
    const std::uint8_t low = big_endian ? bytes[i + 1] : bytes[i];
    if (high != 0) {
      Log("*** Non-ASCII (0x%02X%02X) in Unicode script\n", high, low);
    } else {
      text.push_back(static_cast<char>(low));
    }
  }
  return text;
}

template <class Strings>
bool ExamineStringsOf(std::string_view script, CScriptStringScanner &scanner,
                      std::uint32_t &examined) {
  const char *const end = script.data() + script.size();
  Strings strings(script);
  std::string_view text;
  while (strings.Next(text)) {
    ++examined;
    if (scanner.Check(text, static_cast<std::size_t>(end - (text.data() + text.size()))))
      return true;
  }
  return !strings.IsLost();
}

}  // namespace

constinit const ScriptLanguageTraits JAVASCRIPT{JAVASCRIPT_CATEGORIES, LexJavaScript,
                                                ExamineStringsOf<JavaScriptStrings>};
constinit const ScriptLanguageTraits VBSCRIPT{VBSCRIPT_CATEGORIES, LexVBScript,
                                              ExamineStringsOf<VBScriptStrings>};

void CDataScript::Process(const Chunk &chunk) {
  if (context() == nullptr) return;
  if (IsFeatureEnabled(*context(), language_.categories.block_all)) {
    ReportBlockedItem(*context(), language_.categories.block_all, "", "");
    Neutralise(chunk);
  } else if (!chunk.IsEnd()) {
    chunk.CommitNothing();
  } else if (HasFinding(chunk)) {
    Neutralise(chunk);
  }
}

bool CDataScript::HasFinding(const Chunk &chunk) {
  const std::span<const std::uint8_t> bytes(chunk.Data(), chunk.length());
  const std::optional<ByteOrder> order = DetectByteOrder(bytes);
  is_unicode_ = order.has_value();
  big_endian_ = order && order->big_endian;

  std::string narrowed;
  std::string_view script(reinterpret_cast<const char *>(bytes.data()), bytes.size());
  if (is_unicode_) {
    Log("%s", order->trace);
    narrowed = NarrowUnits(bytes, big_endian_);
    script = narrowed;
  }
  CScriptStringScanner scanner(*context(), ads_, language_.categories);
  Examine(script, scanner);
  return ReportFinding(*context(), scanner);
}

void CDataScript::Examine(std::string_view script, CScriptStringScanner &scanner) const {
  std::uint32_t examined = 0;
  if (UsesFastPath()) {
    if (!scanner.LooksForAnything()) return;
    if (language_.examine(script, scanner, examined)) return;
  }
  const TokenListPointer list(
      language_.lexer(&SPILL_SERVICES, &OS_SERVICES, const_cast<char *>(script.data()), 0, 0, 0, 0,
                      static_cast<std::uint32_t>(script.size()), nullptr, 0));
  const Examination examination = ExamineStrings(*context(), list.get(), scanner, examined);
  if (!scanner.LooksForAnything()) return;
  if (examination == Examination::INCOMPLETE) TellUnexamined(*context());
  if (examination == Examination::BEYOND_LIMIT) TellMisreadBytes(*context());
}

void CDataScript::Neutralise(const Chunk &chunk) const {
  if constexpr (switches::SCRIPT_REPLACEMENT) {
    static constexpr std::uint8_t SPACES[] = {0x00, 0x20, 0x00};
    const std::uint8_t *space = SPACES + (is_unicode_ && big_endian_ ? 0 : 1);
    chunk.buffer().Replace(chunk.offset(), chunk.length(), space, is_unicode_ ? 2 : 1);
  } else {
    std::fill_n(chunk.Data(), chunk.length(), std::uint8_t{' '});
  }
}

}  // namespace velmora
