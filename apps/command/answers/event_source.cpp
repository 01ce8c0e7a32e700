#include "command/answers/event_source.h"

#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "command/answers/files.h"
#include "host/codings/content_coding.h"
#include "store/line_splitter.h"

namespace velmora::command {
namespace {

constexpr std::size_t PIECE = 64U << 10;
constexpr std::string_view GZIP_MAGIC = "\x1F\x8B";

/// Takes the coding off and hands on what comes of it.
class GzipLog {
 public:
  GzipLog() : decoder_(host::MakeDecoder(host::ContentCoding::GZIP)), room_(PIECE, '\0') {
    if (decoder_ == nullptr) throw std::bad_alloc();
  }

  template <class Function>
  void Decode(std::string_view bytes, Function on_bytes) {
    using Status = host::Decoder::Status;
    for (Status status = Status::NEEDS_ROOM; status == Status::NEEDS_ROOM || !bytes.empty();) {
      const auto step = decoder_->Decode(bytes, {room_.data(), room_.size()});
      status = step.status;
      if (status == Status::CORRUPT) throw std::runtime_error("not a gzip file, or damaged");
      if (status == Status::OUT_OF_MEMORY) throw std::bad_alloc();
      on_bytes(std::string_view(room_.data(), step.produced));
    }
  }
  void Finish() const {
    if (!decoder_->IsComplete()) throw std::runtime_error("cut off before its end");
  }

 private:
  std::unique_ptr<host::Decoder> decoder_;
  std::string room_;
};

}  // namespace

bool IsFinishedLog(const std::string &name) {
  if (name == STANDARD_INPUT) return true;
  try {
    return Input(name).Read(GZIP_MAGIC.size()) == GZIP_MAGIC;
  } catch (const std::system_error &error) {
    throw std::system_error(error.code(), name);
  }
}

void ReadFinishedLog(const std::string &name,
                     const std::function<void(std::string_view line)> &on_line) {
  store::LineSplitter splitter;
  std::vector<std::string> lines;
  const auto split = [&](std::string_view bytes) {
    splitter.Split(bytes, lines);
    for (const std::string &line : lines) on_line(line);
    lines.clear();
  };
  Input input(name);
  std::string bytes = input.Read(PIECE);
  std::unique_ptr<GzipLog> gzip;
  if (bytes.starts_with(GZIP_MAGIC)) gzip = std::make_unique<GzipLog>();
  try {
    for (; !bytes.empty(); bytes = input.Read(PIECE)) {
      gzip ? gzip->Decode(bytes, split) : split(bytes);
    }
    if (gzip) gzip->Finish();
  } catch (const std::runtime_error &error) {
    throw std::runtime_error(name + ": " + error.what());
  }
}

}  // namespace velmora::command
