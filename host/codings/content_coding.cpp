#include "host/codings/content_coding.h"

#include "base/ascii.h"
#include "host/codings/decoders.h"

namespace velmora::host {
namespace {

struct CodingName {
  std::string_view name;
  ContentCoding coding;
};

constexpr CodingName CODING_NAMES[] = {
    {"", ContentCoding::IDENTITY},       {"identity", ContentCoding::IDENTITY},
    {"gzip", ContentCoding::GZIP},       {"x-gzip", ContentCoding::GZIP},
    {"deflate", ContentCoding::DEFLATE}, {"br", ContentCoding::BROTLI},
    {"zstd", ContentCoding::ZSTD},
};

/// "q=0", "q=0.000": refused.
bool IsRefused(std::string_view parameters) noexcept {
  const std::size_t equals = parameters.find('=');
  if (equals == parameters.npos) return false;
  if (!base::EqualNoCase(base::TrimWebSpace(parameters.substr(0, equals)), "q")) return false;
  const std::string_view quality = base::TrimWebSpace(parameters.substr(equals + 1));
  return !quality.empty() && quality.find_first_not_of("0.") == quality.npos;
}

}  // namespace

std::optional<ContentCoding> ParseContentCoding(std::string_view content_encoding) noexcept {
  for (const CodingName &coding : CODING_NAMES) {
    if (base::EqualNoCase(base::TrimWebSpace(content_encoding), coding.name)) return coding.coding;
  }
  return std::nullopt;
}

bool AcceptsGzip(std::string_view accept_encoding) noexcept {
  bool accepts_others = false;
  while (!accept_encoding.empty()) {
    const std::size_t comma = std::min(accept_encoding.find(','), accept_encoding.size());
    const std::string_view item = accept_encoding.substr(0, comma);
    accept_encoding.remove_prefix(std::min(comma + 1, accept_encoding.size()));
    const std::size_t semicolon = std::min(item.find(';'), item.size());
    const std::string_view name = base::TrimWebSpace(item.substr(0, semicolon));
    std::string_view parameters = item.substr(semicolon);
    if (!parameters.empty()) parameters.remove_prefix(1);
    const bool is_accepted = !IsRefused(parameters);
    if (base::EqualNoCase(name, "gzip") || base::EqualNoCase(name, "x-gzip")) return is_accepted;
    if (name == "*") accepts_others = is_accepted;
  }
  return accepts_others;
}

std::unique_ptr<Decoder> MakeDecoder(ContentCoding coding) noexcept {
  switch (coding) {
    case ContentCoding::GZIP:
      return MakeGzipDecoder();
    case ContentCoding::DEFLATE:
      return MakeDeflateDecoder();
    case ContentCoding::BROTLI:
      return MakeBrotliDecoder();
    case ContentCoding::ZSTD:
      return MakeZstdDecoder();
    case ContentCoding::IDENTITY:
      break;
  }
  return nullptr;
}

}  // namespace velmora::host
