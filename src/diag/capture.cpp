#include "diag/capture.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <string_view>
#include <utility>

#include "core/strings.h"
#include "core/switches.h"
#include "diag/log.h"

namespace velmora {
namespace {

/// Longest name that a file system takes.
constexpr std::size_t NAME_LIMIT = 255;

/// The number of the capture made last; the first has number 1.
std::atomic<std::int32_t> last_number{0};

bool IsImage(std::string_view type) noexcept {
  return EqualNoCase(type, "image/gif") || EqualNoCase(type, "image/jpeg");
}

/// The number and the type, with "#" for "/", cut to what a file system takes.
std::string FileName(std::int32_t number, const char *type) {
  char text[NAME_LIMIT + 1];
  std::snprintf(text, sizeof text, "%04d.%s", number, type);
  std::string name(text);
  std::ranges::replace(name, '/', '#');
  return name;
}

}  // namespace

CaptureDirectories::CaptureDirectories(const std::optional<std::string> &executable_path) {
  if (!executable_path) return;
  const std::size_t separator = executable_path->rfind(platform::PATH_SEPARATOR);
  // A path without a separator is kept whole.
  root_ =
      separator == std::string::npos ? *executable_path : executable_path->substr(0, separator + 1);
  before_ = root_ + "before/";
  after_ = root_ + "after/";
}

CDataCapture::CDataCapture(CountedPointer<CContentHandler> inner,
                           const CaptureDirectories &directories)
    : directories_(directories), number_(++last_number), inner_(std::move(inner)) {}

CDataCapture::~CDataCapture() {
  if constexpr (switches::CAPTURE_DESTRUCTOR_TRACE) Log("~CDataCapture %04d\n", number_);
  if constexpr (switches::CAPTURE_COMPARISON) TraceDifference();
}

bool CDataCapture::Attach() {
  const char *type = context() == nullptr ? nullptr : context()->GetProperty(PROPERTY_CONTENT_TYPE);
  if (type == nullptr) {
    OpenFiles("unknown");
  } else if (switches::CAPTURE_IMAGES || !IsImage(type)) {
    OpenFiles(type);
  }
  return true;
}

void CDataCapture::OpenFiles(const char *type) {
  if (!directories_.AreOpen()) return;
  platform::MakeDirectory(directories_.root());
  platform::MakeDirectory(directories_.before());
  platform::MakeDirectory(directories_.after());
  const std::string name = FileName(number_, type);
  before_.file = platform::OutputFile::Replace(directories_.before() + name);
  if (inner_) after_.file = platform::OutputFile::Replace(directories_.after() + name);
}

void CDataCapture::Process(const Chunk &chunk) {
  const std::uint32_t known = std::min(held_, chunk.length());
  before_.Write({chunk.Data() + known, chunk.length() - known});

  if (inner_) inner_->Handle(chunk);

  const std::uint32_t committed =
      std::clamp(chunk.buffer().GetCommitted(), chunk.offset(), chunk.End());
  after_.Write({chunk.Data(), committed - chunk.offset()});
  held_ = chunk.End() - committed;
}

void CDataCapture::Side::Write(std::span<const std::uint8_t> bytes) {
  if (file.IsOpen()) file.Write(bytes);
  if constexpr (switches::CAPTURE_COMPARISON) copy.insert(copy.end(), bytes.begin(), bytes.end());
}

void CDataCapture::TraceDifference() const noexcept {
  const auto [before, after] = std::ranges::mismatch(before_.copy, after_.copy);
  if (before == before_.copy.end() && after == after_.copy.end()) return;
  Log("CDataCapture %04d: changed from byte %u on\n", number_,
      static_cast<unsigned>(before - before_.copy.begin()));
}

}  // namespace velmora
