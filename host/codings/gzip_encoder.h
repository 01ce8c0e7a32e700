// GzipEncoder: puts a body into gzip again.
#pragma once

#include <memory>
#include <string_view>
#include <zlib.h>

namespace velmora::host {

/// Pieces are given whole; what has come out so far is taken with `Next` until it is empty. Used by
/// one thread.
class GzipEncoder {
 public:
  GzipEncoder() = default;
  GzipEncoder(const GzipEncoder &) = delete;
  GzipEncoder &operator=(const GzipEncoder &) = delete;
  ~GzipEncoder() { deflateEnd(&stream_); }

  /// False when memory cannot be had; then the encoder must not be used.
  bool Start() noexcept;
  /// The piece stays where it is until `Next` answers empty.
  void Push(std::string_view piece) noexcept;
  /// Lets everything given so far come out, so that a reader can go on. False when it is out.
  bool Flush() noexcept;
  /// Ends the body. False when all of it is out.
  bool Finish() noexcept;
  /// Bytes that go on; good until the next call. Empty when there are none for now.
  std::string_view Next() noexcept;

 private:
  std::unique_ptr<char[]> room_;
  z_stream stream_{};
  int mode_ = Z_NO_FLUSH;
  bool is_flushed_ = true;
  bool is_finished_ = false;
};

}  // namespace velmora::host
