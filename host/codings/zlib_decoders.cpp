#include <algorithm>
#include <array>
#include <limits>
#include <zlib.h>

#include "host/codings/decoders.h"
#include "host/codings/stream_decoder.h"

namespace velmora::host {
namespace {

/// zlib's words for what stands around the compressed data.
constexpr int GZIP_HEADER = MAX_WBITS + 16;
constexpr int ZLIB_HEADER = MAX_WBITS;
constexpr int NO_HEADER = -MAX_WBITS;

uInt Length(std::size_t size) noexcept {
  return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

class Inflater {
 public:
  Inflater() = default;
  Inflater(const Inflater &) = delete;
  Inflater &operator=(const Inflater &) = delete;
  ~Inflater() { inflateEnd(&stream_); }

  bool Start(int header) noexcept { return inflateInit2(&stream_, header) == Z_OK; }
  bool Restart(int header) noexcept { return inflateReset2(&stream_, header) == Z_OK; }

  CodecAnswer Run(std::string_view &input, std::span<char> &room) noexcept {
    stream_.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(input.data()));
    stream_.avail_in = Length(input.size());
    stream_.next_out = reinterpret_cast<Bytef *>(room.data());
    stream_.avail_out = Length(room.size());
    const int answer = inflate(&stream_, Z_NO_FLUSH);
    input.remove_prefix(Length(input.size()) - stream_.avail_in);
    room = room.subspan(Length(room.size()) - stream_.avail_out);
    switch (answer) {
      case Z_OK:
      case Z_BUF_ERROR:
        return CodecAnswer::GOES_ON;
      case Z_STREAM_END:
        return CodecAnswer::STREAM_END;
      case Z_MEM_ERROR:
        return CodecAnswer::OUT_OF_MEMORY;
      default:
        return CodecAnswer::CORRUPT;
    }
  }

 private:
  z_stream stream_{};
};

class GzipCodec {
 public:
  static constexpr bool MAY_REPEAT = true;

  bool Start() noexcept { return inflater_.Start(GZIP_HEADER); }
  bool Restart() noexcept { return inflater_.Restart(GZIP_HEADER); }
  CodecAnswer Run(std::string_view &input, std::span<char> &room) noexcept {
    return inflater_.Run(input, room);
  }

 private:
  Inflater inflater_;
};

/// Keeps the first two bytes until they tell whether they are zlib's header.
class DeflateCodec {
 public:
  static constexpr bool MAY_REPEAT = false;

  bool Start() noexcept { return inflater_.Start(ZLIB_HEADER); }
  bool Restart() noexcept { return false; }

  CodecAnswer Run(std::string_view &input, std::span<char> &room) noexcept {
    while (kept_ < first_bytes_.size()) {
      if (input.empty()) return CodecAnswer::GOES_ON;
      first_bytes_[kept_++] = input.front();
      input.remove_prefix(1);
      if (kept_ < first_bytes_.size()) continue;
      if (!IsZlibHeader() && !inflater_.Restart(NO_HEADER)) return CodecAnswer::OUT_OF_MEMORY;
    }
    if (given_ < first_bytes_.size()) {
      std::string_view first(first_bytes_.data() + given_, first_bytes_.size() - given_);
      const CodecAnswer answer = inflater_.Run(first, room);
      given_ = first_bytes_.size() - first.size();
      if (answer != CodecAnswer::GOES_ON || !first.empty()) return answer;
    }
    return inflater_.Run(input, room);
  }

 private:
  bool IsZlibHeader() const noexcept {
    const unsigned method = static_cast<unsigned char>(first_bytes_[0]);
    const unsigned flags = static_cast<unsigned char>(first_bytes_[1]);
    return (method & 0x0FU) == Z_DEFLATED && (method << 8U | flags) % 31 == 0;
  }

  Inflater inflater_;
  std::array<char, 2> first_bytes_{};
  std::size_t kept_ = 0;
  std::size_t given_ = 0;
};

}  // namespace

std::unique_ptr<Decoder> MakeGzipDecoder() noexcept {
  return MakeStreamDecoder<GzipCodec>();
}

std::unique_ptr<Decoder> MakeDeflateDecoder() noexcept {
  return MakeStreamDecoder<DeflateCodec>();
}

}  // namespace velmora::host
