#include "store/database.h"

#include <cerrno>
#include <fcntl.h>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "base/descriptor.h"
#include "store/event_store.h"
#include "store/sum_tables.h"

namespace velmora::store {
namespace {

/// Goes up when the tables change: a store of another version is made anew.
constexpr int VERSION = 2;
constexpr int BUSY_MS = 5000;

// Texts that come again and again stand in a table of their own, and everywhere else is their
// number.
//
// An event's key is its time in milliseconds times 1024, and one more for each that has the same
// time. What it is, is a number: the category of what was blocked, below zero of another event
// (`event_rows.h`). Its address is cut at the "?": what stands before it comes again.
//
// Events are found by their columns (`columns.h`), texts by their blocks (`text_search.h`).
//
// Sums are by the hour of the clock on the wall, and those of many rows by the day as well: the 24
// hours, in whatever zone they were told, that begin on one day of UTC. `count` is of events, but
// for missing ones, which one line counts, and `bytes` is what filtered bodies got shorter by. Who
// was where, only single events tell, for as long as they are kept.
constexpr char TABLES[] = R"(
  CREATE TABLE logs (
    first_line BLOB PRIMARY KEY, position INTEGER NOT NULL, finished_size INTEGER NOT NULL,
    fed INTEGER NOT NULL) WITHOUT ROWID;
  CREATE TABLE texts (
    id INTEGER PRIMARY KEY, kind INTEGER NOT NULL, text TEXT NOT NULL, UNIQUE (kind, text));
  CREATE TABLE text_blocks (last INTEGER PRIMARY KEY, data BLOB NOT NULL);
  CREATE TABLE events (
    key INTEGER PRIMARY KEY, what INTEGER NOT NULL, client INTEGER, site INTEGER, rule INTEGER,
    address INTEGER, page INTEGER, id, response, query TEXT, page_query TEXT, pid INTEGER,
    number INTEGER, bytes INTEGER, offset INTEGER, item TEXT, type TEXT, detail TEXT, judged TEXT,
    reason TEXT);
  CREATE TABLE recent (key INTEGER PRIMARY KEY);
  CREATE TABLE segments (
    number INTEGER PRIMARY KEY, first INTEGER NOT NULL, last INTEGER NOT NULL,
    count INTEGER NOT NULL);
  CREATE INDEX segments_last ON segments (last);
  CREATE TABLE columns (place INTEGER PRIMARY KEY, data BLOB NOT NULL);
)";

std::string TablesOfSums() {
  std::string sql;
  for (const SumTable &table : SUM_TABLES) {
    const std::string column = table.column == nullptr ? "" : std::string(table.column);
    for (const char *const name : {table.hours, table.days}) {
      if (name == nullptr) continue;
      sql += std::string("CREATE TABLE ") + name + " (hour INTEGER, " +
             (column.empty() ? "" : column + " INTEGER, ") +
             "what INTEGER, count INTEGER, bytes INTEGER, PRIMARY KEY (hour, " +
             (column.empty() ? "" : column + ", ") + "what)) WITHOUT ROWID;";
    }
  }
  return sql;
}

[[noreturn]] void ThrowErrno(const std::filesystem::path &file) {
  throw std::system_error(errno, std::generic_category(), file.string());
}

/// What is wrong with the file, as this store says it.
template <class Function>
auto Saying(const std::filesystem::path &file, Function function) {
  try {
    return function();
  } catch (const SQLite::Exception &error) {
    if (IsDamage(error)) throw DamagedStore(file.string() + ": " + error.what());
    throw std::system_error(std::make_error_code(std::errc::io_error),
                            file.string() + ": " + error.what());
  }
}

SQLite::Database Open(const std::filesystem::path &file, int flags) {
  return Saying(file, [&] { return SQLite::Database(file.string(), flags, BUSY_MS); });
}

/// Throws what `Open` does when the file is no store of this version; answers whether it is empty.
bool IsEmpty(SQLite::Database &database, const std::filesystem::path &file) {
  return Saying(file, [&] {
    const int version = database.execAndGet("PRAGMA user_version").getInt();
    if (version == VERSION) return false;
    if (version == 0 && database.execAndGet("SELECT count(*) FROM sqlite_schema").getInt() == 0) {
      return true;
    }
    throw DamagedStore(file.string() + ": of another version");
  });
}

/// The file as the log is: what stands in it is nobody else's business either.
void MakeFile(const std::filesystem::path &file, const std::filesystem::path &log) {
  const base::Descriptor made(
      open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR | S_IRGRP));
  if (!made.IsOpen()) ThrowErrno(file);
  struct stat status;
  if (geteuid() == 0 && stat(log.c_str(), &status) == 0 &&
      fchown(made.number(), status.st_uid, status.st_gid) != 0) {
    ThrowErrno(file);
  }
}

}  // namespace

bool IsDamage(const SQLite::Exception &error) noexcept {
  return error.getErrorCode() == SQLITE_CORRUPT || error.getErrorCode() == SQLITE_NOTADB;
}

SQLite::Database OpenToRead(const std::filesystem::path &file) {
  if (access(file.c_str(), R_OK) != 0) ThrowErrno(file);
  SQLite::Database database = Open(file, SQLite::OPEN_READONLY);
  if (IsEmpty(database, file)) throw DamagedStore(file.string() + ": nothing in it yet");
  // Not mapped: a page that is touched for the first time costs more than one that is read.
  Saying(file, [&] { return database.exec("PRAGMA cache_size = -32768"); });
  return database;
}

SQLite::Database OpenToWrite(const std::filesystem::path &file, const std::filesystem::path &log) {
  if (!std::filesystem::exists(file)) MakeFile(file, log);
  SQLite::Database database = Open(file, SQLite::OPEN_READWRITE);
  const bool is_empty = IsEmpty(database, file);
  // Columns and blocks are read whole: in large pages they hang together.
  if (is_empty) database.exec("PRAGMA page_size = 65536");
  // Readers need the files beside it, and may not be allowed to make them.
  int stays = 1;
  sqlite3_file_control(database.getHandle(), "main", SQLITE_FCNTL_PERSIST_WAL, &stays);
  database.exec(
      "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA cache_size = -131072;"
      "PRAGMA journal_size_limit = 67108864; PRAGMA temp_store = MEMORY; PRAGMA secure_delete = "
      "ON");
  if (is_empty) {
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    // Another feeder may have come first.
    if (IsEmpty(database, file)) {
      database.exec(TABLES + TablesOfSums());
      database.exec("PRAGMA user_version = " + std::to_string(VERSION));
    }
    transaction.commit();
  }
  return database;
}

void RemoveStore(const std::filesystem::path &file) noexcept {
  std::error_code ignored;
  for (const char *const end : {"", "-wal", "-shm"}) {
    std::filesystem::remove(file.string() + end, ignored);
  }
}

}  // namespace velmora::store
