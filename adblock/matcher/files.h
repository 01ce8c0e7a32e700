// The file system, as far as lists and their compiled form need it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "image.h"

namespace velmora::adblock {

/// The content of a regular file, or nothing and the reason in `*problem`.
std::optional<std::string> ReadFile(const std::string &path, std::string *problem);

bool IsFile(const std::string &path);
bool IsFolder(const std::string &path);

/// The regular files of a folder in the order of their names, without hidden and backup files.
std::vector<std::string> FilesOfFolder(const std::string &path);

/// Maps a file read-only. Nothing for a file that is not there or that anybody but this user could
/// have written.
std::optional<SharedBytes> MapOwnFile(const std::string &path);

/// Puts a file in place as a whole, making its folder first; a reader sees the old or the new one.
/// Only this user can read it, and nobody writes to it: it is replaced or removed.
bool ReplaceFile(const std::string &folder, const std::string &path, std::string_view bytes);

/// A variable of the environment; empty when it is not set or the process has more rights than its
/// user.
std::string Environment(const char *name);

/// Gives memory that a load has needed back to the system.
void ReleaseUnusedMemory() noexcept;

}  // namespace velmora::adblock
