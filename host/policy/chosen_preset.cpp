#include "host/policy/chosen_preset.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "base/descriptor.h"
#include "host/bodies/categories.h"

namespace velmora::host {
namespace {

constexpr mode_t MODE = 0644;

CategorySet CategoriesOf(std::string_view preset) {
  const bool is_preset = std::ranges::any_of(CATEGORY_GROUPS, [&](const CategoryGroup &group) {
    return group.is_preset && group.name == preset;
  });
  if (!is_preset) throw std::invalid_argument("\"" + std::string(preset) + "\" is no preset");
  return CategorySet::Parse(preset);
}

[[noreturn]] void Fail(const std::filesystem::path &file) {
  throw std::system_error(errno, std::generic_category(), file.string());
}

}  // namespace

std::filesystem::path ChosenPresetFile(const Policy &policy) {
  std::filesystem::path file = policy.exceptions_file;
  return file.replace_extension(".preset");
}

std::string ChosenPreset(const Policy &policy) {
  const std::filesystem::path file = ChosenPresetFile(policy);
  std::ifstream words(file);
  if (!words) {
    if (errno == ENOENT) return {};
    Fail(file);
  }
  std::string word;
  words >> word;
  return word;
}

void ChoosePreset(const Policy &policy, std::string_view preset) {
  const std::filesystem::path file = ChosenPresetFile(policy);
  if (preset.empty()) {
    if (unlink(file.c_str()) != 0 && errno != ENOENT) Fail(file);
    return;
  }
  CategoriesOf(preset);
  std::filesystem::path written = file;
  written += ".new";
  // The folder may be the proxy's: no link of its making is followed.
  unlink(written.c_str());
  {
    const base::Descriptor opened(
        open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, MODE));
    const std::string text = std::string(preset) + "\n";
    if (!opened.IsOpen() ||
        write(opened.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      Fail(written);
    }
    fchmod(opened.number(), MODE);
  }
  std::filesystem::rename(written, file);
}

void UseChosenPreset(Policy &policy) {
  const std::string preset = ChosenPreset(policy);
  if (preset.empty()) return;
  policy.everywhere.block = CategoriesOf(preset);
  policy.everywhere.allow = {};
}

}  // namespace velmora::host
