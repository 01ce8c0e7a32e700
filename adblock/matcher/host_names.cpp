#include "host_names.h"

#include <algorithm>
#include <cstdlib>
#include <idn2.h>
#include <memory>

#include "registrable_domain.h"
#include "text.h"

namespace velmora::adblock {
namespace {

std::string_view LastLabel(std::string_view name) noexcept {
  return name.substr(name.rfind('.') + 1);
}

bool IsNumeric(std::string_view name) noexcept {
  return std::all_of(name.begin(), name.end(),
                     [](char c) { return c == '.' || base::IsDigitAscii(c); });
}

}  // namespace

bool IsHostName(std::string_view text) noexcept {
  if (text.size() > MAX_HOST || text.find('.') == std::string_view::npos) return false;
  if (text.ends_with('.')) return false;
  std::size_t labels = 0;
  for (std::string_view rest = text; !rest.empty(); ++labels) {
    const std::string_view label = CutPiece(rest, '.');
    if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-' ||
        !std::all_of(label.begin(), label.end(), [](char c) {
          return IsByte(c, BYTE_HOST) || static_cast<signed char>(c) < 0;
        })) {
      return false;
    }
  }
  return !IsNumeric(text) || labels == 4;
}

bool HasKnownEnd(std::string_view host_name) noexcept {
  if (IsNumeric(host_name)) return true;
  const std::string_view end = LastLabel(host_name);
  const std::optional<std::string> spelling =
      IsBeyondAscii(end) ? AsciiSpelling(end) : std::nullopt;
  return IsPublicSuffix(spelling ? *spelling : end);
}

bool LooksLikeFileName(std::string_view host_name) noexcept {
  constexpr std::string_view ENDINGS[] = {"js",   "mjs",  "json", "css", "htm", "html", "php",
                                          "asp",  "aspx", "jsp",  "cgi", "gif", "png",  "jpg",
                                          "jpeg", "webp", "svg",  "ico", "swf", "mp4",  "xml"};
  const std::string_view end = LastLabel(host_name);
  return std::any_of(std::begin(ENDINGS), std::end(ENDINGS),
                     [&](std::string_view ending) { return base::EqualNoCase(end, ending); }) &&
         !IsPublicSuffix(end);
}

bool IsBeyondAscii(std::string_view host) noexcept {
  return std::any_of(host.begin(), host.end(),
                     [](char byte) { return static_cast<signed char>(byte) < 0; });
}

std::optional<std::string> AsciiSpelling(std::string_view host) {
  const std::string terminated(host);
  char *spelling = nullptr;
  const int result =
      idn2_to_ascii_8z(terminated.c_str(), &spelling, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL);
  const std::unique_ptr<char, decltype(&std::free)> owner(spelling, &std::free);
  if (result != IDN2_OK) return std::nullopt;
  return std::string(spelling);
}

std::string_view HostSpelling(std::string_view host, StringArena &arena) {
  if (IsBeyondAscii(host)) {
    if (const auto spelling = AsciiSpelling(host)) return arena.Keep(*spelling);
  }
  return HasUpper(host) ? arena.KeepLower(host) : host;
}

}  // namespace velmora::adblock
