#include "filter/page_url.h"

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

}  // namespace

PageUrl::PageUrl(std::string_view host, std::string_view url) {
  scheme_.Set("http:");
  SetHost(host);
  SetUrl(url);
}

void PageUrl::SetHost(std::string_view host) {
  host_ = host;
  site_.Set("http://", host);
}

void PageUrl::SetUrl(std::string_view url) {
  folder_.Set(url.substr(0, url.rfind('/') + 1));
}

const std::string &PageUrl::MakeAbsolute(std::string_view url) {
  if (url.empty() || IsComplete(url)) return nothing_.With(url);
  if (url.starts_with("//")) return scheme_.With(url);
  return (url.starts_with('/') ? site_ : folder_).With(url);
}

void PageUrl::Beginning::Set(std::string_view first, std::string_view second) {
  text_ = first;
  text_.append(second);
  size_ = text_.size();
}

const std::string &PageUrl::Beginning::With(std::string_view rest) {
  text_.resize(size_);
  return text_.append(rest);
}

}  // namespace velmora
