// The passwords of the web page, one for each role, in a file of their own:
//
//   change:$y$j9T$...
//   view:$y$j9T$...
//
// What stands there is yescrypt's, as crypt(5) has it.
#pragma once

#include <filesystem>
#include <string>

#include "web/role.h"

namespace velmora::web {

/// How many bytes a password has at least, and at most.
inline constexpr std::size_t LEAST_PASSWORD = 8;
inline constexpr std::size_t MOST_PASSWORD = 500;

/// Puts a password in the place of the one before; an empty one takes it away. The file is readable
/// to its owner alone, who is the folder's. Throws `std::invalid_argument` for one that is too
/// short or too long, and `std::system_error`.
void SetPassword(const std::filesystem::path &file, Role role, const std::string &password);

/// Is there any?
bool HasPasswords(const std::filesystem::path &file);

/// Whose it is; takes some tenths of a second on purpose. Throws `std::system_error` when there is
/// a file that cannot be read.
Role RoleOf(const std::filesystem::path &file, const std::string &password);

}  // namespace velmora::web
