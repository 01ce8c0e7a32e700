#include "command/followed_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velmora::command {
namespace {

constexpr std::size_t PIECE = 4U << 20;

[[noreturn]] void ThrowErrno(const std::filesystem::path &path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

int Open(const std::filesystem::path &path) noexcept {
  return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

}  // namespace

FollowedFile::FollowedFile(std::filesystem::path path)
    : path_(std::move(path)), descriptor_(Open(path_)) {
  if (descriptor_ < 0) ThrowErrno(path_);
}

FollowedFile::~FollowedFile() {
  close(descriptor_);
}

std::vector<std::string> FollowedFile::NextLines() {
  std::vector<std::string> lines;
  if (!ReadMore() && !ReadPastRotation()) return lines;
  std::size_t begin = 0;
  for (std::size_t end; (end = rest_.find('\n', begin)) != rest_.npos; begin = end + 1) {
    lines.push_back(rest_.substr(begin, end - begin));
  }
  rest_.erase(0, begin);
  return lines;
}

bool FollowedFile::ReadMore() {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) ThrowErrno(path_);
  if (S_ISREG(status.st_mode) && status.st_size < position_) {
    position_ = 0;
    rest_.clear();
    lseek(descriptor_, 0, SEEK_SET);
  }
  const std::size_t kept = rest_.size();
  rest_.resize(kept + PIECE);
  ssize_t length = 0;
  do {
    length = read(descriptor_, rest_.data() + kept, PIECE);
  } while (length < 0 && errno == EINTR);
  if (length < 0) ThrowErrno(path_);
  rest_.resize(kept + static_cast<std::size_t>(length));
  position_ += length;
  return length != 0;
}

bool FollowedFile::ReadPastRotation() {
  if (!HasNewFile()) return false;
  // The old one may have got its last lines since it was read.
  return ReadMore() || (GoToNewFile() && ReadMore());
}

bool FollowedFile::HasNewFile() const noexcept {
  struct stat ours;
  struct stat named;
  if (fstat(descriptor_, &ours) != 0 || stat(path_.c_str(), &named) != 0) return false;
  return ours.st_ino != named.st_ino || ours.st_dev != named.st_dev;
}

bool FollowedFile::GoToNewFile() {
  const int descriptor = Open(path_);
  if (descriptor < 0) return false;
  close(std::exchange(descriptor_, descriptor));
  position_ = 0;
  rest_.clear();
  return true;
}

}  // namespace velmora::command
