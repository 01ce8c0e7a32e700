// Settings: what the line of the proxy's configuration that names the service says.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "host/category_names.h"
#include "host/response_filter.h"

namespace velmora::ecap {

struct Settings {
  /// Files that stand beside the adapter by default.
  std::filesystem::path plugin;
  std::optional<std::filesystem::path> ad_library{};
  /// Where events go; empty: nowhere.
  std::filesystem::path events{};
  host::CategorySet categories = host::CategorySet::All();
  host::ResponseOptions response{};

  /// Takes one "key=value" in. Throws `std::invalid_argument` that says what is wrong with it.
  void Set(std::string_view key, std::string_view value);
};

}  // namespace velmora::ecap
