#include "platform/process.h"

#include <cstdlib>
#include <limits.h>
#include <unistd.h>

#include "platform/files.h"

namespace velmora::platform {
namespace {

/// Paths of this many bytes or more are not handed out.
constexpr std::size_t PATH_LIMIT = 260;

/// Replaces all before the last separator.
void ReplaceDirectory(std::string &path, const char *directory) {
  path.replace(0, path.rfind(PATH_SEPARATOR), directory);
}

}  // namespace

std::optional<std::string> ExecutablePath() {
  char link[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", link, sizeof link);
  if (length <= 0) return std::nullopt;
  std::string path(link, static_cast<std::size_t>(length));
  const char *directory = ::secure_getenv("VELMORA_DIRECTORY");
  if (directory != nullptr && *directory != '\0') ReplaceDirectory(path, directory);
  if (path.size() >= PATH_LIMIT) return std::nullopt;
  return path;
}

std::uint32_t ProcessId() noexcept {
  return static_cast<std::uint32_t>(::getpid());
}

}  // namespace velmora::platform
