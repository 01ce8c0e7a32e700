#include "filter/absolute_url.h"

#include "core/strings.h"

namespace velmora {
namespace {

constexpr std::string_view COMPLETE_SCHEMES[] = {"http", "mailto", "javascript"};

bool IsComplete(std::string_view url) noexcept {
  const std::size_t colon = url.find(':');
  if (colon == std::string_view::npos) return false;
  for (const std::string_view scheme : COMPLETE_SCHEMES) {
    if (EqualNoCase(url.substr(0, colon), scheme)) return true;
  }
  return false;
}

std::string Join(std::string_view first, std::string_view second, std::string_view third) {
  std::string joined;
  joined.reserve(first.size() + second.size() + third.size());
  return joined.append(first).append(second).append(third);
}

}  // namespace

std::string MakeAbsoluteUrl(std::string_view host, std::string_view page_url,
                            std::string_view url) {
  if (url.empty() || IsComplete(url)) return std::string(url);
  if (url.starts_with("//")) return Join("http:", url, {});
  if (url.starts_with('/')) return Join("http://", host, url);
  const std::size_t last_slash = page_url.rfind('/');
  if (last_slash == std::string_view::npos) return std::string(url);
  return Join(page_url.substr(0, last_slash), "/", url);
}

}  // namespace velmora
