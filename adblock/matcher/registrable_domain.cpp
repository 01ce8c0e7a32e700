#include "registrable_domain.h"

#include <algorithm>
#include <cstring>
#include <libpsl.h>

#include "text.h"

namespace velmora::adblock {
namespace {

/// A host name with a NUL after it, as the suffix list wants it.
class HostText {
 public:
  explicit HostText(std::string_view host) noexcept
      : size_(std::min(host.size(), sizeof text_ - 1)) {
    std::memcpy(text_, host.data(), size_);
    text_[size_] = '\0';
  }
  const char *Get() const noexcept { return text_; }
  const char *End() const noexcept { return text_ + size_; }
  void ToLower() noexcept { std::transform(text_, text_ + size_, text_, base::ToLowerAscii); }

 private:
  char text_[256];
  std::size_t size_;
};

/// Where the last `count` labels of `host` begin; its start when there are fewer.
std::size_t LastLabels(std::string_view host, int count) noexcept {
  std::size_t at = host.size();
  while (count-- > 0) {
    const std::size_t dot = at == 0 ? std::string_view::npos : host.rfind('.', at - 1);
    if (dot == std::string_view::npos) return 0;
    at = dot;
  }
  return at + 1;
}

bool IsNumeric(std::string_view host) noexcept {
  return host.find(':') != std::string_view::npos ||
         std::all_of(host.begin(), host.end(),
                     [](char c) { return c == '.' || base::IsDigitAscii(c); });
}

std::string_view RegistrableDomain(std::string_view host) noexcept {
  const HostText text(host);
  const char *domain = psl_registrable_domain(psl_builtin(), text.Get());
  if (!domain) return host;
  return host.substr(host.size() - static_cast<std::size_t>(text.End() - domain));
}

}  // namespace

bool IsThirdParty(std::string_view page_host, std::string_view url_host) noexcept {
  if (page_host == url_host) return false;
  if (page_host.empty() || IsNumeric(page_host) || IsNumeric(url_host)) return true;
  // A registrable domain has at least two labels: where these differ, no list is needed.
  const std::string_view page_end = page_host.substr(LastLabels(page_host, 2));
  if (page_end != url_host.substr(LastLabels(url_host, 2))) return true;
  if (page_host.size() > 255 || url_host.size() > 255) return true;
  return RegistrableDomain(page_host) != RegistrableDomain(url_host);
}

std::string_view WithoutPublicSuffix(std::string_view host) noexcept {
  if (host.empty() || host.size() > 255 || IsNumeric(host)) return {};
  // The registrable domain has exactly one label before the suffix.
  const std::string_view domain = RegistrableDomain(host);
  const std::size_t dot = domain.find('.');
  if (dot == std::string_view::npos) return {};
  const std::size_t suffix = host.size() - domain.size() + dot;
  if (psl_is_public_suffix(psl_builtin(), HostText(host).Get())) return {};
  return host.substr(0, suffix);
}

bool IsPublicSuffix(std::string_view name) noexcept {
  HostText text(name);
  text.ToLower();
  return psl_is_public_suffix2(psl_builtin(), text.Get(), PSL_TYPE_ANY | PSL_TYPE_NO_STAR_RULE) ==
         1;
}

std::string_view PublicSuffixVersion() noexcept {
  const char *hash = psl_builtin_sha1sum();
  return hash ? hash : "";
}

}  // namespace velmora::adblock
