#include <zstd.h>
#include <zstd_errors.h>

#include "host/codings/decoders.h"
#include "host/codings/stream_decoder.h"

namespace velmora::host {
namespace {

/// log2 of 8 MiB.
constexpr int LARGEST_WINDOW = 23;

class ZstdCodec {
 public:
  static constexpr bool MAY_REPEAT = true;

  bool Start() noexcept {
    stream_.reset(ZSTD_createDStream());
    return stream_ != nullptr && !ZSTD_isError(ZSTD_DCtx_setParameter(
                                     stream_.get(), ZSTD_d_windowLogMax, LARGEST_WINDOW));
  }
  /// The library goes from one frame to the next by itself.
  bool Restart() noexcept { return true; }

  CodecAnswer Run(std::string_view &input, std::span<char> &room) noexcept {
    ZSTD_inBuffer in{input.data(), input.size(), 0};
    ZSTD_outBuffer out{room.data(), room.size(), 0};
    const std::size_t answer = Decompress(out, in);
    input.remove_prefix(in.pos);
    room = room.subspan(out.pos);
    if (answer == 0) return CodecAnswer::STREAM_END;
    if (!ZSTD_isError(answer)) return CodecAnswer::GOES_ON;
    return ZSTD_getErrorCode(answer) == ZSTD_error_memory_allocation ? CodecAnswer::OUT_OF_MEMORY
                                                                     : CodecAnswer::CORRUPT;
  }

 private:
  struct Destroyer {
    void operator()(ZSTD_DStream *stream) const noexcept { ZSTD_freeDStream(stream); }
  };

  /// One call may stop at a block's end with input and room left.
  std::size_t Decompress(ZSTD_outBuffer &out, ZSTD_inBuffer &in) noexcept {
    std::size_t answer;
    do {
      answer = ZSTD_decompressStream(stream_.get(), &out, &in);
    } while (answer != 0 && !ZSTD_isError(answer) && in.pos != in.size && out.pos != out.size);
    return answer;
  }

  std::unique_ptr<ZSTD_DStream, Destroyer> stream_;
};

}  // namespace

std::unique_ptr<Decoder> MakeZstdDecoder() noexcept {
  return MakeStreamDecoder<ZstdCodec>();
}

}  // namespace velmora::host
