// Scripts through the fast reader and through the token list: all that a host can see of either.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/counted_pointer.h"
#include "core/fast_path.h"
#include "script/data_script.h"
#include "support/body_pieces.h"
#include "support/fake_host.h"
#include "support/log_recorder.h"
#include "support/tight_buffer.h"

namespace velmora::testing {

/// One piece a byte of the recipe.
inline std::string OddScript(std::string_view recipe) {
  std::string script;
  for (const char byte : recipe) {
    script += ScriptPieces()[static_cast<unsigned char>(byte) % ScriptPieces().size()];
  }
  return script;
}

/// What a script meets.
struct Setting {
  bool is_vbscript;
  bool is_wide;
  bool dumps;
  bool logs;
  bool is_bound;
  bool exempts;
  /// One bit for each of the language's four categories.
  unsigned categories;

  static Setting From(unsigned bits) {
    const auto bit = [bits](unsigned k) { return (bits >> k & 1) != 0; };
    return {bit(0), bit(1) && bit(2), bit(3), bit(4), bit(5), bit(6), bits >> 7 & 0xF};
  }
  friend std::ostream &operator<<(std::ostream &out, const Setting &s) {
    return out << (s.is_vbscript ? "VBScript" : "JavaScript") << (s.is_wide ? " wide" : "")
               << (s.dumps ? " dumps" : "") << (s.logs ? " logs" : "")
               << (s.is_bound ? " bound" : "") << (s.exempts ? " exempts" : "") << " categories "
               << s.categories;
  }
};

/// Answers by how a text begins, and remembers its questions in little room.
class CountingAdBlocker final : public FakeObject<IAdBlocker> {
 public:
  explicit CountingAdBlocker(bool exempts) : exempts_(exempts) {}
  std::uint8_t IsReady() noexcept override { return 1; }
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *, const char *, char *, std::size_t, bool *) noexcept override {
    return 0;
  }
  std::uint8_t CheckUrlText(const char *host, const char *piece, std::uint32_t length, char *text,
                            std::size_t size, bool *exempt) noexcept override {
    Remember(host);
    Remember({piece, std::min<std::uint32_t>(length, 40)});
    Remember(std::to_string(length) + (*text == '\0' ? "" : "dirty") + std::to_string(size) +
             (*exempt ? "exempt" : ""));
    const std::string_view rest(piece, length);
    if (rest.starts_with("ok!")) *exempt = exempts_;
    // A text stands there at any answer; it counts at 1 alone.
    if (rest.starts_with("ad.") || rest.starts_with("two")) std::strcpy(text, "an ad");
    return rest.starts_with("ad.") ? 1 : rest.starts_with("two") ? 2 : 0;
  }
  std::uint8_t CheckSize(const char *host, std::int32_t width,
                         std::int32_t height) noexcept override {
    Remember(host);
    Remember(std::to_string(width) + "x" + std::to_string(height));
    return width == 468 && height == 60;
  }
  std::uint8_t CheckLink(const char *, const char *, const char *) noexcept override { return 0; }

  std::size_t questions = 0;
  std::uint64_t hash = 0;

 private:
  void Remember(std::string_view text) {
    ++questions;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    hash = (hash ^ 0xFFF) * 0x100000001B3;
  }
  const bool exempts_;
};

/// All that a host, its ad-blocking library and the log see of one script.
struct Outcome {
  std::vector<std::string> sent;
  std::vector<Report> reports;
  std::vector<std::int32_t> asked;
  std::size_t questions = 0;
  std::uint64_t questions_hash = 0;
  std::string log;

  friend bool operator==(const Outcome &, const Outcome &) = default;
};

inline Outcome Filter(const Setting &setting, std::string_view script, bool fast) {
  fast_path_allowed = fast;
  Outcome outcome;
  FakeContext context;
  const std::int32_t first = setting.is_vbscript ? CATEGORY_VBSCRIPT : CATEGORY_JAVASCRIPT;
  for (std::int32_t k = 0; k < 4; ++k) {
    if ((setting.categories >> k & 1) != 0) context.categories.insert(first + k);
  }
  if (setting.dumps) context.settings[SETTING_DUMP_SCRIPT_STRINGS] = "True";
  std::string body;
  for (const char c : script) {
    body += c;
    if (setting.is_wide) body += c == '\xff' ? c : '\0';
  }
  CountingAdBlocker library(setting.exempts);
  library.references = 2;
  {
    const AdBlocking ads(setting.is_bound ? &library : nullptr);
    const CountedPointer<IDataProcessor> handler(
        setting.is_vbscript ? static_cast<IDataProcessor *>(new CDataVBS(ads)) : new CDataJS(ads));
    handler->SetContext(&context);
    std::optional<LogRecorder> log;
    if (setting.logs) log.emplace();
    const std::size_t half = body.size() / 2;
    const std::string_view view = body;
    outcome.sent = SentAfterEachCall(*handler, {view.substr(0, half), view.substr(half)});
    if (log) outcome.log = log->Text();
  }
  outcome.reports = std::move(context.reports);
  outcome.asked = std::move(context.asked);
  outcome.questions = library.questions;
  outcome.questions_hash = library.hash;
  fast_path_allowed = true;
  return outcome;
}

}  // namespace velmora::testing
