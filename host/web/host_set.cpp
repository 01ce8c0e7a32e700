#include "host/web/host_set.h"

#include <algorithm>
#include <stdexcept>

#include "base/ascii.h"

namespace velmora::host {
namespace {

bool IsDigit(char c) noexcept {
  return '0' <= c && c <= '9';
}

bool IsNameCharacter(char c) noexcept {
  return IsDigit(c) || ('a' <= c && c <= 'z') || c == '-' || c == '_' || c == '.';
}

/// What is wrong with a name in that form; null when nothing is.
const char *Fault(std::string_view name) noexcept {
  if (name.empty()) return "is empty";
  if (name.starts_with('[') && name.ends_with(']')) return nullptr;
  if (name.find('*') != name.npos || name.starts_with('.')) {
    return "should be a plain name, which stands for its sub-domains too";
  }
  if (name.find_first_of("/:") != name.npos) {
    return "should be a host name, without scheme, port and path";
  }
  const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (!std::ranges::all_of(name, is_ascii)) return "should be in its ASCII form (\"xn--...\")";
  if (!std::ranges::all_of(name, IsNameCharacter) || name.find("..") != name.npos) {
    return "is no host name";
  }
  return nullptr;
}

}  // namespace

HostName::HostName(std::string_view name)
    : text_(name.ends_with('.') ? name.substr(0, name.size() - 1) : name) {
  std::ranges::transform(text_, text_.begin(), base::ToLowerAscii);
}

bool HostName::IsAddress() const noexcept {
  // No top-level domain ends in a digit.
  return text_.starts_with('[') || (!text_.empty() && IsDigit(text_.back()));
}

void HostSet::Add(std::string_view name) {
  const HostName host(name);
  if (const char *const fault = Fault(host.Text())) {
    throw std::invalid_argument("\"" + std::string(name) + "\" " + fault);
  }
  names_.emplace(host.Text());
}

bool HostSet::Contains(const HostName &host) const {
  return names_.contains(host.Text()) || (!host.IsAddress() && ContainsParentOf(host.Text()));
}

bool HostSet::ContainsParentOf(std::string_view domain) const {
  for (std::size_t dot; (dot = domain.find('.')) != domain.npos;) {
    domain.remove_prefix(dot + 1);
    if (names_.contains(domain)) return true;
  }
  return false;
}

std::vector<std::string> HostSet::Names() const {
  std::vector<std::string> names;
  for (const std::string &name : names_) {
    if (HostName(name).IsAddress() || !ContainsParentOf(name)) names.push_back(name);
  }
  std::ranges::sort(names);
  return names;
}

}  // namespace velmora::host
