// Temporary files: the folder that they are made in, and whether any can be.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace velmora::base {

/// `TMPDIR`, or /tmp; the latter too in a program that has more rights than its caller.
inline std::string TemporaryFolder() {
  const char *const folder = secure_getenv("TMPDIR");
  return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

/// A new file of mode 0600 in that folder, its name `prefix` and what makes it unique; `path`
/// receives the name. The open file is the caller's; -1 and `errno` when there is none, as for a
/// name of `room` bytes and more.
inline int MakeTemporaryFile(std::string_view prefix, std::size_t room, std::string &path) {
  path = TemporaryFolder();
  if (path.back() != '/') path += '/';
  path.append(prefix).append("XXXXXX");
  if (path.size() >= room) {
    errno = ENAMETOOLONG;
    return -1;
  }
  return mkostemp(path.data(), O_CLOEXEC);
}

/// Why no temporary file can be made and written to, if none can. It is tried with one of a block.
inline std::error_code TemporaryFilesTrouble() {
  static constexpr std::size_t ROOM = 260;
  std::error_code trouble;
  const auto check = [&](bool is_well) {
    if (!is_well && !trouble) trouble = {errno, std::generic_category()};
  };
  std::string path;
  const int file = MakeTemporaryFile("velmora", ROOM, path);
  check(file >= 0);
  if (file < 0) return trouble;
  const std::string block(4096, ' ');
  const ssize_t written = write(file, block.data(), block.size());
  if (written >= 0) errno = ENOSPC;
  check(written == static_cast<ssize_t>(block.size()));
  check(unlink(path.c_str()) == 0);
  check(close(file) == 0);
  return trouble;
}

}  // namespace velmora::base
