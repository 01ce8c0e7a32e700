// Compressed bodies, made by the libraries' encoders.
#pragma once

#include <brotli/encode.h>
#include <cstdint>
#include <string>
#include <string_view>
#include <zlib.h>
#include <zstd.h>

#include "host/codings/content_coding.h"

namespace velmora::host {

inline std::string Deflated(std::string_view text, int window) {
  z_stream stream{};
  deflateInit2(&stream, 6, Z_DEFLATED, window, 8, Z_DEFAULT_STRATEGY);
  std::string bytes(deflateBound(&stream, text.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef *>(bytes.data());
  stream.avail_out = static_cast<uInt>(bytes.size());
  deflate(&stream, Z_FINISH);
  bytes.resize(stream.total_out);
  deflateEnd(&stream);
  return bytes;
}

inline std::string Compressed(ContentCoding coding, std::string_view text) {
  switch (coding) {
    case ContentCoding::GZIP:
      return Deflated(text, MAX_WBITS + 16);
    case ContentCoding::DEFLATE:
      return Deflated(text, MAX_WBITS);
    case ContentCoding::BROTLI: {
      std::size_t size = BrotliEncoderMaxCompressedSize(text.size()) + 32;
      std::string bytes(size, '\0');
      BrotliEncoderCompress(5, 22, BROTLI_MODE_GENERIC, text.size(),
                            reinterpret_cast<const std::uint8_t *>(text.data()), &size,
                            reinterpret_cast<std::uint8_t *>(bytes.data()));
      bytes.resize(size);
      return bytes;
    }
    case ContentCoding::ZSTD: {
      std::string bytes(ZSTD_compressBound(text.size()), '\0');
      bytes.resize(ZSTD_compress(bytes.data(), bytes.size(), text.data(), text.size(), 3));
      return bytes;
    }
    case ContentCoding::IDENTITY:
      break;
  }
  return std::string(text);
}

/// Text of which a fifth or so is left by a good compressor.
inline std::string SampleText(std::size_t size) {
  std::string text;
  std::uint32_t state = 1;
  while (text.size() < size) {
    state = state * 1664525 + 1013904223;
    text += "<p>" + std::to_string(state >> 12) + "</p>\n";
  }
  text.resize(size);
  return text;
}

}  // namespace velmora::host
