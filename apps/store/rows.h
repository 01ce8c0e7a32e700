// Rows: a statement whose rows are numbers, for questions that read a million of them.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdint>
#include <memory>
#include <sqlite3.h>
#include <string>

namespace velmora::store {

/// Throws `SQLite::Exception`.
class Rows {
 public:
  Rows(SQLite::Database &database, const std::string &sql) : database_(database) {
    sqlite3_stmt *statement = nullptr;
    Check(sqlite3_prepare_v2(database.getHandle(), sql.c_str(), -1, &statement, nullptr));
    statement_.reset(statement);
  }

  /// Begins anew with these values.
  template <class... Numbers>
  void Begin(Numbers... numbers) {
    sqlite3_reset(statement_.get());
    int place = 0;
    (Check(sqlite3_bind_int64(statement_.get(), ++place, numbers)), ...);
  }
  /// Goes to the next row, if there is one.
  bool Next() {
    const int code = sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE) Check(code);
    return code == SQLITE_ROW;
  }
  /// 0 for nothing.
  std::int64_t operator[](int column) const noexcept {
    return sqlite3_column_int64(statement_.get(), column);
  }

 private:
  struct Closer {
    void operator()(sqlite3_stmt *statement) const noexcept { sqlite3_finalize(statement); }
  };

  void Check(int code) const {
    if (code != SQLITE_OK) throw SQLite::Exception(database_.getHandle(), code);
  }

  SQLite::Database &database_;
  std::unique_ptr<sqlite3_stmt, Closer> statement_;
};

}  // namespace velmora::store
