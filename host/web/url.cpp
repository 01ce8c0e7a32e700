#include "host/web/url.h"

#include <algorithm>
#include <curl/curl.h>
#include <memory>
#include <new>

#include "base/ascii.h"

namespace velmora::host {
namespace {

struct CloseUrl {
  void operator()(CURLU *url) const noexcept { curl_url_cleanup(url); }
};
struct FreeText {
  void operator()(char *text) const noexcept { curl_free(text); }
};

/// To browsers a backslash in front of the query is a slash; the library knows none.
std::string WithSlashes(std::string_view url) {
  std::string text(url);
  const auto end =
      text.begin() + static_cast<std::ptrdiff_t>(std::min(url.find_first_of("?#"), url.size()));
  std::replace(text.begin(), end, '\\', '/');
  return text;
}

bool IsAscii(std::string_view text) noexcept {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool IsHostCharacter(char c) noexcept {
  return ('a' <= c && c <= 'z') || base::IsDigitAscii(c) || c == '-' || c == '.';
}

/// The host of a URL as nearly all are, in which the library would find the same and take much
/// longer: "http" or "https", a name whose last part begins with a letter (others may be numbers of
/// some kind), the end or a path. Empty for any other.
std::string_view UsualHost(std::string_view url) noexcept {
  if (!url.starts_with("http")) return {};
  url.remove_prefix(url.starts_with("https") ? 5 : 4);
  if (!url.starts_with("://")) return {};
  url.remove_prefix(3);
  const auto end = std::ranges::find_if_not(url, IsHostCharacter);
  const auto host = url.substr(0, static_cast<std::size_t>(end - url.begin()));
  const std::size_t dot = host.rfind('.');
  if (dot == host.npos || dot + 1 == host.size() || !base::IsLetterAscii(host[dot + 1])) return {};
  return end == url.end() || *end == '/' ? host : std::string_view();
}

}  // namespace

std::string HostOfUrl(std::string_view url) {
  if (const auto host = UsualHost(url); !host.empty()) return std::string(host);
  // The library would read it to the NUL.
  if (url.find('\0') != url.npos) return {};
  const std::unique_ptr<CURLU, CloseUrl> parsed(curl_url());
  if (parsed == nullptr) throw std::bad_alloc();
  constexpr unsigned FLAGS = CURLU_NON_SUPPORT_SCHEME | CURLU_ALLOW_SPACE | CURLU_PATH_AS_IS;
  const CURLUcode code = curl_url_set(parsed.get(), CURLUPART_URL, WithSlashes(url).c_str(), FLAGS);
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLUE_OK) return {};
  char *found = nullptr;
  if (curl_url_get(parsed.get(), CURLUPART_HOST, &found, 0) != CURLUE_OK) return {};
  const std::unique_ptr<char, FreeText> owned(found);
  std::string host(found);
  if (!IsAscii(host)) return {};
  std::ranges::transform(host, host.begin(), base::ToLowerAscii);
  return host;
}

std::string EscapeForQuery(std::string_view text) {
  const std::unique_ptr<char, FreeText> escaped(
      curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())));
  if (escaped == nullptr) throw std::bad_alloc();
  return text.empty() ? std::string() : std::string(escaped.get());
}

std::string Unescaped(std::string_view value) {
  int size = 0;
  const std::unique_ptr<char, FreeText> text(
      curl_easy_unescape(nullptr, value.data(), static_cast<int>(value.size()), &size));
  if (text == nullptr) throw std::bad_alloc();
  return value.empty() ? std::string() : std::string(text.get(), static_cast<std::size_t>(size));
}

}  // namespace velmora::host
