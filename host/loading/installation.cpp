#include "host/loading/installation.h"

#include <algorithm>
#include <dlfcn.h>
#include <link.h>
#include <optional>

namespace velmora::host {
namespace {

namespace fs = std::filesystem;

/// Where in an installation programs and libraries lie that this code can be a part of.
const fs::path PLACES[] = {VELMORA_BIN_DIR, VELMORA_LIB_DIR, VELMORA_PLUGIN_DIR};

/// What an installation was installed to, when its folder ends as a place in it does.
std::optional<fs::path> Without(const fs::path &folder, const fs::path &place) {
  const auto length = std::distance(place.begin(), place.end());
  const auto all = std::distance(folder.begin(), folder.end());
  if (place.is_absolute() || all <= length) return std::nullopt;
  const auto end = std::next(folder.begin(), all - length);
  if (!std::equal(end, folder.end(), place.begin(), place.end())) return std::nullopt;
  fs::path prefix;
  for (auto part = folder.begin(); part != end; ++part) prefix /= *part;
  return prefix;
}

std::optional<fs::path> Prefix() {
  const fs::path folder = OwnFolder();
  for (const fs::path &place : PLACES) {
    if (auto prefix = Without(folder, place)) return prefix;
  }
  return std::nullopt;
}

}  // namespace

fs::path OwnFolder() {
  static const char here = 0;
  Dl_info info{};
  link_map *map = nullptr;
  const bool is_known =
      dladdr1(&here, &info, reinterpret_cast<void **>(&map), RTLD_DL_LINKMAP) != 0;
  // The program itself has no name there.
  const bool is_library = is_known && map != nullptr && map->l_name[0] != '\0';
  const fs::path file = is_library ? fs::path(map->l_name) : fs::read_symlink("/proc/self/exe");
  std::error_code error;
  const fs::path real = fs::canonical(file, error);
  return (error ? fs::absolute(file) : real).parent_path();
}

fs::path PluginFolder() {
  fs::path own = OwnFolder();
  const auto prefix = Prefix();
  if (!prefix || fs::exists(own / "libvelmora.so")) return own;
  return *prefix / VELMORA_PLUGIN_DIR;
}

fs::path SettingsFolder() {
  constexpr char SETTINGS[] = VELMORA_SETTINGS_DIR;
  const fs::path prefix = Prefix().value_or(VELMORA_PREFIX);
  // What is installed below /usr has its settings in /etc.
  return (prefix == "/usr" ? fs::path("/") : prefix) / SETTINGS / "velmora";
}

}  // namespace velmora::host
