#include "host/web/url.h"

#include <algorithm>
#include <curl/urlapi.h>
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

}  // namespace

std::string HostOfUrl(std::string_view url) {
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

}  // namespace velmora::host
