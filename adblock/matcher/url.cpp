#include "url.h"

#include <algorithm>

#include "block.h"
#include "text.h"

namespace velmora::adblock {
namespace {

constexpr std::string_view SCHEMES[] = {"http:", "https:", "ftp:", "ws:", "wss:"};

bool StartsWithIgnoringCase(std::string_view text, std::string_view lower) noexcept {
  return text.size() >= lower.size() &&
         std::equal(lower.begin(), lower.end(), text.begin(),
                    [](char expected, char byte) { return base::ToLowerAscii(byte) == expected; });
}

}  // namespace

std::size_t UrlLength(std::string_view text) noexcept {
  std::size_t slashes = 0;
  if (!text.starts_with('/')) {
    // Most words that begin like a scheme have no colon here.
    slashes = text.substr(0, 6).find(':') + 1;
    const auto is_scheme = [&](std::string_view scheme) {
      return scheme.size() == slashes && StartsWithIgnoringCase(text, scheme);
    };
    if (slashes == 0 || std::none_of(std::begin(SCHEMES), std::end(SCHEMES), is_scheme)) return 0;
  }
  const std::size_t host = slashes + 2;
  if (text.size() <= host || text[slashes] != '/' || text[slashes + 1] != '/') return 0;
  if (!IsByte(text[host], BYTE_HOST) && text[host] != '[') return 0;
  const std::string_view looked_at = text.substr(0, MAX_URL_IN_TEXT);
  std::size_t at = host;
  for (; at + BLOCK <= looked_at.size(); at += BLOCK) {
    const std::uint64_t ends = FindUrlEnd(looked_at.data() + at);
    if (ends != 0) return at + static_cast<std::size_t>(std::countr_zero(ends));
  }
  while (at < looked_at.size() && !IsByte(looked_at[at], BYTE_ENDS_URL)) ++at;
  return at;
}

Url::Url(std::string_view text) noexcept : original_(text.substr(0, MAX_URL)) {
  MarkTokens();
  if (!FindPlainHost()) FindHost();
  if (host_size_ > MAX_HOST) host_size_ = 0;
}

/// The usual case: "http://" or "https://", a host, and a slash or the end.
bool Url::FindPlainHost() noexcept {
  constexpr auto word = [](std::string_view scheme) {
    std::uint64_t bytes = 0;
    for (std::size_t at = 0; at < scheme.size(); ++at) {
      bytes |= std::uint64_t{static_cast<std::uint8_t>(scheme[at])} << (8 * at);
    }
    return bytes;
  };
  constexpr std::uint64_t PLAIN = word("http://");
  constexpr std::uint64_t SECURE = word("https://");
  const char *bytes = lowered_.Data();
  const std::uint64_t first = LoadWord(bytes);
  std::size_t start = 0;
  if (first == SECURE) {
    start = 8;
  } else if ((first & FIRST_BYTES[7]) == PLAIN) {
    start = 7;
  } else {
    return false;
  }
  std::size_t end = start;
  std::uint64_t found = InTwoBlocks(bytes + end, FindNoHostByte);
  while (found == 0) found = InTwoBlocks(bytes + (end += 2 * BLOCK), FindNoHostByte);
  end += static_cast<std::size_t>(std::countr_zero(found));
  if (end < original_.size() && bytes[end] != '/') return false;
  if (end > start && bytes[end - 1] == '.') --end;
  host_ = start;
  host_size_ = end - start;
  return true;
}

void Url::FindHost() noexcept {
  // Letters and digits are passed over many at a time: what ends a scheme or a host is neither.
  const char *bytes = lowered_.Data();
  const std::size_t size = original_.size();
  std::size_t at = NextBound(0);
  while (at < size && (IsByte(bytes[at], BYTE_HOST) || bytes[at] == '+')) at = NextBound(at + 1);
  if (at == 0 || !Lowered().substr(at).starts_with("://")) return;
  std::size_t start = at + 3;
  std::size_t authority_end = size;
  for (at = NextBound(start); at < size; at = NextBound(at + 1)) {
    if (bytes[at] == '@') start = at + 1;
    // Browsers take a backslash for a slash.
    if (bytes[at] == '/' || bytes[at] == '\\' || bytes[at] == '?' || bytes[at] == '#') {
      authority_end = at;
      break;
    }
  }
  std::size_t end = NextBound(start);
  if (bytes[start] == '[') {
    const std::size_t bracket = Lowered().substr(0, authority_end).find(']', start);
    if (bracket == std::string_view::npos) return;
    end = bracket + 1;
  } else {
    // A port or what no host has ends it, so that "^" in a rule never stands within a host.
    for (; end < authority_end; end = NextBound(end + 1)) {
      if (IsByte(bytes[end], BYTE_SEPARATOR)) break;
    }
    end = std::min(end, authority_end);
    if (end > start && bytes[end - 1] == '.') --end;
  }
  host_ = start;
  host_size_ = end - start;
  is_host_beyond_ascii_ = IsBeyondAscii(Host());
}

void Url::MarkTokens() noexcept {
  std::uint64_t *word = token_bits_.data();
  lowered_.Assign(original_, [&](std::uint64_t bits) noexcept { *word++ = bits; });
  *word = 0;
}

/// The first byte at or after `at` that belongs to no token; the URL's size when there is
/// none.
std::size_t Url::NextBound(std::size_t at) const noexcept {
  std::size_t word = at / 64;
  std::uint64_t bounds = ~token_bits_[word] >> (at % 64) << (at % 64);
  while (bounds == 0) bounds = ~token_bits_[++word];
  const std::size_t bound = word * 64 + static_cast<std::size_t>(std::countr_zero(bounds));
  return std::min(bound, original_.size());
}

}  // namespace velmora::adblock
