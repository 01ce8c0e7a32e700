#include "address.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>

#include "hash.h"
#include "text.h"

namespace velmora::adblock {
namespace {

constexpr std::string_view SCHEMES[] = {"http:", "https:", "ftp:", "ws:", "wss:"};

bool StartsWithIgnoringCase(std::string_view text, std::string_view lower) noexcept {
  return text.size() >= lower.size() &&
         std::equal(lower.begin(), lower.end(), text.begin(),
                    [](char expected, char byte) { return Lower(byte) == expected; });
}

constexpr std::size_t BLOCK = 16;

#ifdef __SSE2__
/// Brings a block of bytes into lower case; the bits of those that belong to tokens.
std::uint64_t LowerBlock(char *block) noexcept {
  __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
  const auto within = [&](char first, char count) noexcept {
    const __m128i distance = _mm_sub_epi8(bytes, _mm_set1_epi8(first));
    const __m128i limit = _mm_set1_epi8(static_cast<char>(count - 1));
    return _mm_cmpeq_epi8(_mm_min_epu8(distance, limit), distance);
  };
  bytes = _mm_or_si128(bytes, _mm_and_si128(within('A', 26), _mm_set1_epi8(0x20)));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(block), bytes);
  const __m128i token = _mm_or_si128(within('0', 10), within('a', 26));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(token));
}
#else
std::uint64_t LowerBlock(char *block) noexcept {
  std::uint64_t bits = 0;
  for (unsigned at = 0; at < BLOCK; ++at) {
    block[at] = Lower(block[at]);
    bits |= static_cast<std::uint64_t>(IsByte(block[at], BYTE_TOKEN)) << at;
  }
  return bits;
}
#endif

/// For the short distances within hosts, where a call costs more than the search.
std::size_t FindNear(std::string_view text, std::size_t at, char byte) noexcept {
  while (at < text.size() && text[at] != byte) ++at;
  return at;
}

}  // namespace

std::size_t AddressLength(std::string_view text) noexcept {
  std::size_t slashes = 0;
  if (!text.starts_with('/')) {
    for (const std::string_view scheme : SCHEMES) {
      if (StartsWithIgnoringCase(text, scheme)) slashes = scheme.size();
    }
    if (slashes == 0) return 0;
  }
  const std::size_t host = slashes + 2;
  if (text.size() <= host || text[slashes] != '/' || text[slashes + 1] != '/') return 0;
  if (!IsByte(text[host], BYTE_HOST) && text[host] != '[') return 0;
  const std::string_view looked_at = text.substr(0, MAX_ADDRESS);
  const auto end = std::find_if(looked_at.begin(), looked_at.end(),
                                [](char byte) { return IsByte(byte, BYTE_ENDS_ADDRESS); });
  return static_cast<std::size_t>(end - looked_at.begin());
}

Address::Address(std::string_view text) noexcept : original_(text.substr(0, MAX_ADDRESS)) {
  std::size_t start = 0;
  while (start < original_.size() &&
         (IsByte(original_[start], BYTE_HOST) || original_[start] == '+')) {
    ++start;
  }
  if (start == 0 || original_.substr(start, 3) != "://") return;
  start += 3;
  std::size_t end = start;
  std::size_t port = std::string_view::npos;
  for (; end < original_.size(); ++end) {
    const char byte = original_[end];
    if (byte == '/' || byte == '?' || byte == '#') break;
    if (byte == '@') {
      start = end + 1;
      port = std::string_view::npos;
    } else if (byte == ':' && port == std::string_view::npos) {
      port = end;
    }
  }
  if (original_.substr(start, 1) == "[") {
    const std::size_t bracket = FindNear(original_, start, ']');
    if (bracket >= end) return;
    end = bracket + 1;
  } else {
    end = std::min(end, port);
    if (end > start && original_[end - 1] == '.') --end;
  }
  const std::size_t size = original_.size();
  std::memcpy(lowered_.data(), original_.data(), size);
  std::memset(lowered_.data() + size, 0, ADDRESS_PADDING);
  token_bytes_[(size + 63) / 64] = 0;
  for (std::size_t at = 0; at < size; at += 64) {
    std::uint64_t bits = 0;
    for (std::size_t part = 0; part < 64; part += BLOCK) {
      bits |= LowerBlock(lowered_.data() + at + part) << part;
    }
    token_bytes_[at / 64] = bits;
  }
  host_ = start;
  host_size_ = end - start;
}

HostSuffixes::HostSuffixes(std::string_view host) noexcept : host_(host) {
  for (std::size_t start = 0; start < host.size() && count_ < suffixes_.size();) {
    const std::size_t end = FindNear(host, start, '.');
    suffixes_[count_++] = {HashBytes(host.substr(start)), static_cast<std::uint32_t>(start),
                           static_cast<std::uint32_t>(end - start)};
    start = end + 1;
  }
}

PageHost::PageHost(std::string_view host) noexcept {
  if (!host.starts_with('[')) host = host.substr(0, FindNear(host, 0, ':'));
  if (host.ends_with('.')) host.remove_suffix(1);
  size_ = host.size() > MAX_HOST ? 0 : host.size();
  std::memcpy(text_.data(), host.data(), size_);
  for (std::size_t at = 0; at < size_; at += BLOCK) LowerBlock(text_.data() + at);
}

}  // namespace velmora::adblock
