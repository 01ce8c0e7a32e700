#include "page.h"

#include <new>
#include <optional>
#include <string>

#include "host_names.h"

namespace velmora::adblock {
namespace {

std::string_view WithoutPort(std::string_view host) noexcept {
  host = host.substr(0, host.starts_with('[') ? host.find(']') + 1 : host.find(':'));
  if (host.ends_with('.')) host.remove_suffix(1);
  return host.size() > MAX_HOST ? std::string_view() : host;
}

}  // namespace

Page::Page(std::string_view host) noexcept {
  host = WithoutPort(host);
  host_.Assign(host, [](std::uint64_t) {});
  if (!IsBeyondAscii(host)) return;
  try {
    const std::optional<std::string> spelling = AsciiSpelling(Host());
    if (spelling) host_.Assign(WithoutPort(*spelling), [](std::uint64_t) {});
  } catch (const std::bad_alloc &) {
    // Stays as it is written.
  }
}

void Page::Note(const Image &image, std::uint64_t key) noexcept {
  const std::uint64_t lookup = ShortLookupKey(key);
  keys_[key_count_] = lookup;
  key_count_ += image.filter.Has(key) != 0 && image.buckets.MayHave(lookup);
}

void Page::FindKeys(const Image &image) noexcept {
  key_count_ = 0;
  const bool has_labels = image.Header().has_page_labels != 0;
  AnyHostSuffix(Host(), [&](std::size_t start, std::size_t label_size) noexcept {
    const char *const suffix = Host().data() + start;
    Note(image, HashPaddedBytes(suffix, Host().size() - start) ^ KEY_PAGE_HOST);
    if (has_labels) Note(image, HashPaddedBytes(suffix, label_size) ^ KEY_PAGE_LABEL);
    return false;
  });
}

}  // namespace velmora::adblock
