// StreamDecoder: what all codings have in common, around a library's decoder.
//
// A body is one compressed stream, or, where the coding allows it, several one after the other.
// Bytes after a whole stream that do not become another one are passed over, as browsers do.
#pragma once

#include <memory>
#include <new>
#include <span>
#include <string_view>

#include "host/codings/content_coding.h"

namespace velmora::host {

enum class CodecAnswer {
  /// Input or room is used up.
  GOES_ON,
  /// All of the stream came out.
  STREAM_END,
  CORRUPT,
  OUT_OF_MEMORY,
};

/// `Codec` is a library's decoder of one stream:
///   static constexpr bool MAY_REPEAT;  // may another stream follow?
///   bool Start();                      // false when memory cannot be had
///   bool Restart();                    // for the next stream
///   CodecAnswer Run(std::string_view &input, std::span<char> &room);  // shortens both
template <class Codec>
class StreamDecoder final : public Decoder {
 public:
  bool Start() noexcept { return codec_.Start(); }

  Step Decode(std::string_view &input, std::span<char> room) noexcept override {
    std::span<char> rest = room;
    const auto step = [&](Status status) { return Step{status, room.size() - rest.size()}; };
    for (;;) {
      if (!is_inside_) {
        if (input.empty()) return step(Status::NEEDS_INPUT);
        BeginStream();
      }
      if (is_behind_all_) {
        input = {};
        return step(Status::NEEDS_INPUT);
      }
      const std::size_t room_before = rest.size();
      const CodecAnswer answer = codec_.Run(input, rest);
      stream_has_output_ |= rest.size() != room_before;
      switch (answer) {
        case CodecAnswer::GOES_ON:
          return step(rest.empty() ? Status::NEEDS_ROOM : Status::NEEDS_INPUT);
        case CodecAnswer::STREAM_END:
          is_inside_ = false;
          has_whole_stream_ = true;
          break;
        case CodecAnswer::OUT_OF_MEMORY:
          return step(Status::OUT_OF_MEMORY);
        case CodecAnswer::CORRUPT:
          if (!IsStray()) return step(Status::CORRUPT);
          is_behind_all_ = true;
      }
    }
  }

  bool IsComplete() const noexcept override { return !is_inside_ || IsStray(); }

 private:
  void BeginStream() noexcept {
    is_behind_all_ = has_whole_stream_ && !(Codec::MAY_REPEAT && codec_.Restart());
    is_inside_ = true;
    stream_has_output_ = false;
  }
  /// Nothing came of what follows a whole stream.
  bool IsStray() const noexcept { return has_whole_stream_ && !stream_has_output_; }

  Codec codec_;
  bool is_inside_ = false;
  bool stream_has_output_ = false;
  bool has_whole_stream_ = false;
  bool is_behind_all_ = false;
};

/// Null when memory cannot be had.
template <class Codec>
std::unique_ptr<Decoder> MakeStreamDecoder() noexcept {
  auto decoder = std::unique_ptr<StreamDecoder<Codec>>(new (std::nothrow) StreamDecoder<Codec>);
  if (decoder != nullptr && !decoder->Start()) decoder.reset();
  return decoder;
}

}  // namespace velmora::host
