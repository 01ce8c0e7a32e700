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

void GzipEncoder::Push(std::string_view piece) noexcept {
  stream_.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.data()));
  stream_.avail_in = static_cast<uInt>(piece.size());
  is_flushed_ = false;
}

bool GzipEncoder::Flush() noexcept {
  if (is_flushed_) return false;
  mode_ = Z_SYNC_FLUSH;
  return true;
}

bool GzipEncoder::Finish() noexcept {
  mode_ = Z_FINISH;
  return !is_finished_;
}

std::string_view GzipEncoder::Next() noexcept {
  if (is_finished_) return {};
  stream_.next_out = reinterpret_cast<Bytef *>(room_.get());
  stream_.avail_out = ROOM;
  const int answer = deflate(&stream_, mode_);
  is_finished_ = answer == Z_STREAM_END;
  if (mode_ == Z_SYNC_FLUSH && stream_.avail_out != 0) {
    mode_ = Z_NO_FLUSH;
    is_flushed_ = true;
  }
  return {room_.get(), ROOM - stream_.avail_out};
}

}  // namespace velmora::host
