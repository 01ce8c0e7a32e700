#include "platform/files.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace velmora::platform {

AppendFile::AppendFile(const std::string &path) noexcept
    : descriptor_(static_cast<int>(TEMP_FAILURE_RETRY(
          ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640)))) {}

AppendFile::AppendFile(AppendFile &&other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

AppendFile &AppendFile::operator=(AppendFile &&other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

AppendFile::~AppendFile() {
  if (IsOpen()) ::close(descriptor_);
}

void AppendFile::Write(std::string_view bytes) noexcept {
  [[maybe_unused]] const auto written =
      TEMP_FAILURE_RETRY(::write(descriptor_, bytes.data(), bytes.size()));
}

OutputFile::OutputFile(const std::string &path) noexcept
    : stream_(std::fopen(path.c_str(), "wbe")) {}

void OutputFile::Write(std::span<const std::uint8_t> bytes) noexcept {
  if (bytes.empty()) return;  // whose data may be null
  [[maybe_unused]] const auto written = std::fwrite(bytes.data(), 1, bytes.size(), stream_.get());
}

std::string ReadFile(const std::string &path) {
  std::string bytes;
  const Stream stream(std::fopen(path.c_str(), "rbe"));
  if (stream == nullptr) return bytes;
  char block[4096];
  while (const std::size_t count = std::fread(block, 1, sizeof block, stream.get())) {
    bytes.append(block, count);
  }
  return bytes;
}

void MakeDirectory(const std::string &path) noexcept {
  ::mkdir(path.c_str(), 0777);
}

}  // namespace velmora::platform
