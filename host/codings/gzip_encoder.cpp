#include "host/codings/gzip_encoder.h"

#include <cstddef>
#include <new>

namespace velmora::host {
namespace {

constexpr int GZIP_HEADER = MAX_WBITS + 16;
constexpr int MEMORY_LEVEL = 8;
constexpr std::size_t ROOM = 32U << 10;

}  // namespace

bool GzipEncoder::Start() noexcept {
  room_.reset(new (std::nothrow) char[ROOM]);
  return room_ != nullptr && deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, GZIP_HEADER,
                                          MEMORY_LEVEL, Z_DEFAULT_STRATEGY) == Z_OK;
}

Part GzipEncoder::Next() noexcept {
  while (!is_at_end_) {
    if (const Part part = Deflate(); !part.IsNothing()) return part;
    const Part plain = before_.Next();
    if (plain.IsNothing() && is_flushed_) return {};
    stream_.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(plain.bytes.data()));
    stream_.avail_in = static_cast<uInt>(plain.bytes.size());
    mode_ = plain.is_last ? Z_FINISH : plain.bytes.empty() ? Z_SYNC_FLUSH : Z_NO_FLUSH;
    is_flushed_ = mode_ == Z_SYNC_FLUSH;
  }
  return {};
}

Part GzipEncoder::Deflate() noexcept {
  stream_.next_out = reinterpret_cast<Bytef *>(room_.get());
  stream_.avail_out = ROOM;
  is_at_end_ = deflate(&stream_, mode_) == Z_STREAM_END;
  // All of a flush is out when there is room left.
  if (mode_ == Z_SYNC_FLUSH && stream_.avail_out != 0) mode_ = Z_NO_FLUSH;
  return {.bytes = {room_.get(), ROOM - stream_.avail_out}, .is_last = is_at_end_};
}

}  // namespace velmora::host
