#include "store/feeding.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <algorithm>
#include <optional>
#include <sqlite3.h>
#include <stdexcept>
#include <system_error>

#include "store/database.h"
#include "store/event_rows.h"
#include "store/event_store.h"
#include "store/log_files.h"
#include "store/retention.h"
#include "store/store_writer.h"

namespace velmora::store {
namespace {

using Clock = std::chrono::system_clock;

/// What is written in one transaction: more of them cost less each, and others wait for their turn.
constexpr std::uint64_t BATCH = 100'000;

/// How far a file was read.
struct Progress {
  std::int64_t position = 0;
  /// The size of a compressed file that was read to its end; such a one is not read again.
  std::int64_t finished_size = 0;
};

class Feeder {
 public:
  Feeder(const host::EventLogOptions &log, SQLite::Database &database)
      : log_(log),
        database_(database),
        writer_(database, OldestEvent(log)),
        get_progress_(database, "SELECT position, finished_size FROM logs WHERE first_line = ?"),
        set_progress_(database,
                      "INSERT OR REPLACE INTO logs (first_line, position, finished_size, fed) "
                      "VALUES (?, ?, ?, unixepoch())") {}

  void FeedFile(const std::filesystem::path &path, FedLog &fed) {
    LogFile file(path);
    const std::string first_line = file.FirstLine();
    if (first_line.empty()) return;
    while (FeedBatch(file, first_line, fed)) continue;
  }

 private:
  /// Answers whether there may be more.
  bool FeedBatch(LogFile &file, const std::string &first_line, FedLog &fed) {
    SQLite::Transaction transaction(database_, SQLite::TransactionBehavior::IMMEDIATE);
    NoticeOthers();
    const Progress before = GetProgress(first_line);
    if (file.IsCompressed() && before.finished_size == file.Size()) return false;
    if (before.position != file.Position() && !file.Seek(before.position)) return false;
    bool is_more = true;
    FedLog batch;
    try {
      while (is_more && batch.events < BATCH) {
        is_more = file.Read(lines_);
        for (const std::string &line : lines_) Take(line, batch);
        lines_.clear();
      }
      const bool is_finished = !is_more && file.IsCompressed();
      const Progress after{file.Position(), is_finished ? file.Size() : 0};
      if (after.position != before.position || is_finished) {
        writer_.Finish();
        SetProgress(first_line, after);
        transaction.commit();
      }
    } catch (...) {
      writer_.Forget();
      throw;
    }
    fed.events += batch.events;
    fed.unreadable += batch.unreadable;
    return is_more;
  }

  void Take(const std::string &line, FedLog &batch) {
    auto event = host::FromLine(line);
    if (!event) {
      ++batch.unreadable;
      return;
    }
    // Those are for metrics, which want the newest alone.
    if (event->kind == host::EventKind::COUNTERS) return;
    if (host::IsLeftOut(log_, event->client)) return;
    host::Reduce(*event, log_.urls, log_.clients);
    writer_.Add(*event);
    ++batch.events;
  }

  /// What the writer remembers need not be true any more.
  void NoticeOthers() {
    const int version = database_.execAndGet("PRAGMA data_version").getInt();
    if (version != data_version_) writer_.Forget();
    data_version_ = version;
  }

  Progress GetProgress(const std::string &first_line) {
    get_progress_.reset();
    get_progress_.bind(1, first_line.data(), static_cast<int>(first_line.size()));
    Progress progress;
    if (get_progress_.executeStep()) {
      progress = {get_progress_.getColumn(0).getInt64(), get_progress_.getColumn(1).getInt64()};
    }
    get_progress_.reset();
    return progress;
  }

  void SetProgress(const std::string &first_line, const Progress &progress) {
    set_progress_.reset();
    set_progress_.bind(1, first_line.data(), static_cast<int>(first_line.size()));
    set_progress_.bind(2, progress.position);
    set_progress_.bind(3, progress.finished_size);
    set_progress_.exec();
  }

  const host::EventLogOptions &log_;
  SQLite::Database &database_;
  StoreWriter writer_;
  SQLite::Statement get_progress_;
  SQLite::Statement set_progress_;
  std::vector<std::string> lines_;
  int data_version_ = 0;
};

/// Throws `DamagedStore`, and what `Feed` throws.
FedLog FeedOnce(const host::EventLogOptions &log) {
  const std::filesystem::path store = StoreOf(log);
  FedLog fed;
  try {
    SQLite::Database database = OpenToWrite(store, log.file);
    {
      Feeder feeder(log, database);
      for (const std::filesystem::path &file : FilesOfLog(log.file)) {
        try {
          feeder.FeedFile(file, fed);
        } catch (const SQLite::Exception &) {
          throw;
        } catch (const std::exception &error) {
          fed.troubles.push_back(file.string() + ": " + error.what());
        }
      }
    }
    DropOld(database, log);
  } catch (const SQLite::Exception &error) {
    if (IsDamage(error)) throw DamagedStore(store.string() + ": " + error.what());
    if (error.getErrorCode() != SQLITE_BUSY) {
      throw std::runtime_error(store.string() + ": " + error.what());
    }
    fed.is_busy = true;
  }
  return fed;
}

}  // namespace

std::filesystem::path StoreOf(const host::EventLogOptions &log) {
  if (!log.store.empty()) return log.store;
  std::filesystem::path store = log.file;
  store.replace_extension(".db");
  return store == log.file ? std::filesystem::path(log.file.string() + ".db") : store;
}

FedLog Feed(const host::EventLogOptions &log) {
  try {
    return FeedOnce(log);
  } catch (const DamagedStore &damage) {
    RemoveStore(StoreOf(log));
    FedLog fed = FeedOnce(log);
    fed.made_anew = damage.what();
    return fed;
  }
}

FedLog Rebuild(const host::EventLogOptions &log) {
  RemoveStore(StoreOf(log));
  return FeedOnce(log);
}

}  // namespace velmora::store
