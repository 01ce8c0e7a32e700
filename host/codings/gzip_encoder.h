// GzipEncoder: puts a body into gzip again.
#pragma once

#include <memory>
#include <zlib.h>

#include "host/codings/stage.h"

namespace velmora::host {

/// A stage. What it drew comes out before it waits for more, so that a reader can go on.
class GzipEncoder final : public Stage {
 public:
  explicit GzipEncoder(Stage &before) noexcept : before_(before) {}
  GzipEncoder(const GzipEncoder &) = delete;
  GzipEncoder &operator=(const GzipEncoder &) = delete;
  ~GzipEncoder() { deflateEnd(&stream_); }

  /// False when memory cannot be had; then the encoder must not be used.
  bool Start() noexcept;

  Part Next() noexcept override;

 private:
  /// What the library makes of its input in the mode; more of it when the room is full.
  Part Deflate() noexcept;

  Stage &before_;
  std::unique_ptr<char[]> room_;
  z_stream stream_{};
  int mode_ = Z_NO_FLUSH;
  bool is_flushed_ = true;
  bool is_at_end_ = false;
};

}  // namespace velmora::host
