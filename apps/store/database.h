// The database of a store: its tables, and how it is opened.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <filesystem>

namespace velmora::store {

/// For a reader; the file has to be there. Throws `DamagedStore`, `std::system_error`.
SQLite::Database OpenToRead(const std::filesystem::path &file);

/// For a feeder: made, for the owner of the log and readable by the log's group, if it is not
/// there. Throws `DamagedStore`, `std::system_error`.
SQLite::Database OpenToWrite(const std::filesystem::path &file, const std::filesystem::path &log);

/// Removes the file with what SQLite keeps beside it.
void RemoveStore(const std::filesystem::path &file) noexcept;

/// What the error says of the file: it cannot be used as it is.
bool IsDamage(const SQLite::Exception &error) noexcept;

}  // namespace velmora::store
