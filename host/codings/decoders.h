// The decoders, a file for each library that does the work. Null when memory cannot be had.
#pragma once

#include <memory>

#include "host/codings/content_coding.h"

namespace velmora::host {

std::unique_ptr<Decoder> MakeGzipDecoder() noexcept;
/// With zlib's header, as it should be, or without, as some servers send it.
std::unique_ptr<Decoder> MakeDeflateDecoder() noexcept;
std::unique_ptr<Decoder> MakeBrotliDecoder() noexcept;
/// Streams that need a window of more than 8 MiB, the most that the web allows, count as corrupt.
std::unique_ptr<Decoder> MakeZstdDecoder() noexcept;

}  // namespace velmora::host
