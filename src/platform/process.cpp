#include "platform/process.h"

#include <cstdlib>
#include <limits.h>
#include <string_view>
#include <unistd.h>

#include "platform/files.h"

namespace velmora::platform {
namespace {

/// Paths of this many bytes or more are not handed out.
constexpr std::size_t PATH_LIMIT = 260;

/// `directory` as it is named from the root, so that it stays the same wherever the host goes.
std::optional<std::string> Absolute(std::string_view directory) {
  if (directory.front() == PATH_SEPARATOR) return std::string(directory);
  char working[PATH_MAX];
  // A directory that this process cannot reach has no path from the root.
  if (::getcwd(working, sizeof working) == nullptr || *working != PATH_SEPARATOR) {
    return std::nullopt;
  }
  std::string path = working;
  if (path.back() != PATH_SEPARATOR) path += PATH_SEPARATOR;
  return path.append(directory);
}

}  // namespace

std::optional<std::string> ExecutablePath() {
  char link[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", link, sizeof link);
  if (length <= 0) return std::nullopt;
  std::string path(link, static_cast<std::size_t>(length));
  const char *named = ::secure_getenv("VELMORA_DIRECTORY");
  if (named != nullptr && *named != '\0') {
    const std::optional<std::string> directory = Absolute(named);
    if (!directory) return std::nullopt;
    path.replace(0, path.rfind(PATH_SEPARATOR), *directory);
  }
  if (path.size() >= PATH_LIMIT) return std::nullopt;
  return path;
}

std::uint32_t ProcessId() noexcept {
  return static_cast<std::uint32_t>(::getpid());
}

}  // namespace velmora::platform
