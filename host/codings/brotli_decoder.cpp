#include <brotli/decode.h>
#include <cstdint>

#include "host/codings/decoders.h"
#include "host/codings/stream_decoder.h"

namespace velmora::host {
namespace {

class BrotliCodec {
 public:
  static constexpr bool MAY_REPEAT = false;

  bool Start() noexcept {
    state_.reset(BrotliDecoderCreateInstance(nullptr, nullptr, nullptr));
    return state_ != nullptr;
  }
  bool Restart() noexcept { return false; }

  CodecAnswer Run(std::string_view &input, std::span<char> &room) noexcept {
    std::size_t input_left = input.size();
    std::size_t room_left = room.size();
    auto next_input = reinterpret_cast<const std::uint8_t *>(input.data());
    auto next_room = reinterpret_cast<std::uint8_t *>(room.data());
    const BrotliDecoderResult answer = BrotliDecoderDecompressStream(
        state_.get(), &input_left, &next_input, &room_left, &next_room, nullptr);
    input.remove_prefix(input.size() - input_left);
    room = room.subspan(room.size() - room_left);
    switch (answer) {
      case BROTLI_DECODER_RESULT_SUCCESS:
        return CodecAnswer::STREAM_END;
      case BROTLI_DECODER_RESULT_ERROR:
        return IsMemoryError() ? CodecAnswer::OUT_OF_MEMORY : CodecAnswer::CORRUPT;
      default:
        return CodecAnswer::GOES_ON;
    }
  }

 private:
  struct Destroyer {
    void operator()(BrotliDecoderState *state) const noexcept {
      BrotliDecoderDestroyInstance(state);
    }
  };

  bool IsMemoryError() const noexcept {
    const BrotliDecoderErrorCode error = BrotliDecoderGetErrorCode(state_.get());
    return BROTLI_DECODER_ERROR_ALLOC_BLOCK_TYPE_TREES <= error &&
           error <= BROTLI_DECODER_ERROR_ALLOC_CONTEXT_MODES;
  }

  std::unique_ptr<BrotliDecoderState, Destroyer> state_;
};

}  // namespace

std::unique_ptr<Decoder> MakeBrotliDecoder() noexcept {
  return MakeStreamDecoder<BrotliCodec>();
}

}  // namespace velmora::host
