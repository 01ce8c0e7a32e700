#include "command/answers/followed_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velmora::command {
namespace {

constexpr std::size_t PIECE = 1U << 20;

[[noreturn]] void ThrowErrno(const std::filesystem::path &path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

base::Descriptor Open(const std::filesystem::path &path) noexcept {
  return base::Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

}  // namespace

FollowedFile::FollowedFile(std::filesystem::path path)
    : path_(std::move(path)), descriptor_(Open(path_)) {
  if (!descriptor_.IsOpen()) ThrowErrno(path_);
}

void FollowedFile::SkipToLast(off_t bytes) {
  const off_t size = lseek(descriptor_.number(), 0, SEEK_END);
  if (size < 0) return;  // a pipe
  position_ = std::max<off_t>(size - bytes, 0);
  lseek(descriptor_.number(), position_, SEEK_SET);
}

bool FollowedFile::Read(std::vector<std::string> &lines) {
  return ReadMore(lines) || ReadPastRotation(lines);
}

bool FollowedFile::ReadMore(std::vector<std::string> &lines) {
  struct stat status;
  if (fstat(descriptor_.number(), &status) != 0) ThrowErrno(path_);
  if (S_ISREG(status.st_mode) && status.st_size < position_) {
    position_ = 0;
    splitter_.Clear();
    lseek(descriptor_.number(), 0, SEEK_SET);
  }
  bytes_.resize(PIECE);
  ssize_t length = 0;
  do {
    length = read(descriptor_.number(), bytes_.data(), PIECE);
  } while (length < 0 && errno == EINTR);
  if (length < 0) ThrowErrno(path_);
  splitter_.Split({bytes_.data(), static_cast<std::size_t>(length)}, lines);
  position_ += length;
  return length != 0;
}

bool FollowedFile::ReadPastRotation(std::vector<std::string> &lines) {
  if (!HasNewFile()) return false;
  // The old one may have got its last lines since it was read.
  return ReadMore(lines) || (GoToNewFile() && ReadMore(lines));
}

bool FollowedFile::HasNewFile() const noexcept {
  struct stat ours;
  struct stat named;
  if (fstat(descriptor_.number(), &ours) != 0 || stat(path_.c_str(), &named) != 0) return false;
  return ours.st_ino != named.st_ino || ours.st_dev != named.st_dev;
}

bool FollowedFile::GoToNewFile() {
  base::Descriptor descriptor = Open(path_);
  if (!descriptor.IsOpen()) return false;
  descriptor_ = std::move(descriptor);
  position_ = 0;
  splitter_.Clear();
  return true;
}

}  // namespace velmora::command
