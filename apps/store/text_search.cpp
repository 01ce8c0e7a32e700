#include "store/text_search.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sqlite3.h>
#include <string_view>
#include <vector>

#include "base/ascii.h"
#include "store/rows.h"

namespace velmora::store {
namespace {

/// Texts of a block.
constexpr std::size_t TEXTS = 4096;
/// Blocks that are made anew together: what is left of them fills fewer.
constexpr std::int64_t BLOCKS_AT_ONCE = 8;

using Number = std::uint32_t;

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), base::ToLowerAscii);
  return text;
}

/// A block as it is put together.
class BlockMaker {
 public:
  explicit BlockMaker(SQLite::Database &database)
      : write_(database, "INSERT INTO text_blocks (last, data) VALUES (?, ?)") {}

  void Add(std::int64_t number, const std::string &text) {
    numbers_.push_back(static_cast<Number>(number));
    texts_ += Lower(text);
    texts_ += '\0';
    ends_.push_back(static_cast<Number>(texts_.size()));
    if (numbers_.size() == TEXTS) Write();
  }
  /// Writes a block that is not full.
  void Write() {
    if (numbers_.empty()) return;
    const auto count = static_cast<Number>(numbers_.size());
    std::string data(reinterpret_cast<const char *>(&count), sizeof count);
    for (const std::vector<Number> *const part : {&numbers_, &ends_}) {
      data.append(reinterpret_cast<const char *>(part->data()), part->size() * sizeof(Number));
    }
    data += texts_;
    write_.reset();
    write_.bind(1, std::int64_t{numbers_.back()});
    write_.bindNoCopy(2, data.data(), static_cast<int>(data.size()));
    write_.exec();
    numbers_.clear();
    ends_.clear();
    texts_.clear();
  }

 private:
  SQLite::Statement write_;
  std::vector<Number> numbers_;
  std::vector<Number> ends_;
  std::string texts_;
};

/// A block as it is read; the bytes are somebody else's.
class Block {
 public:
  explicit Block(std::string_view data) {
    Number count = 0;
    if (data.size() >= sizeof count) std::memcpy(&count, data.data(), sizeof count);
    const std::size_t part = count * sizeof(Number);
    if (count > TEXTS || data.size() < sizeof count + 2 * part) Fail();
    Read(numbers_, data.substr(sizeof count, part));
    Read(ends_, data.substr(sizeof count + part, part));
    texts_ = data.substr(sizeof count + 2 * part);
    if ((ends_.empty() ? 0 : ends_.back()) != texts_.size()) Fail();
  }

  void Find(const std::string &text, NumberSet &found) const {
    for (std::size_t begin = 0; begin < texts_.size();) {
      const void *const place =
          memmem(texts_.data() + begin, texts_.size() - begin, text.data(), text.size());
      if (place == nullptr) return;
      const auto offset = static_cast<Number>(static_cast<const char *>(place) - texts_.data());
      const auto end = std::ranges::upper_bound(ends_, offset);
      if (end == ends_.end() || *end <= begin) Fail();
      found.Insert(numbers_[static_cast<std::size_t>(end - ends_.begin())]);
      begin = *end;
    }
  }

 private:
  [[noreturn]] static void Fail() {
    throw SQLite::Exception("a block of texts that is not whole", SQLITE_CORRUPT);
  }
  static void Read(std::vector<Number> &numbers, std::string_view bytes) {
    numbers.resize(bytes.size() / sizeof(Number));
    if (!bytes.empty()) std::memcpy(numbers.data(), bytes.data(), bytes.size());
  }

  std::vector<Number> numbers_;
  std::vector<Number> ends_;
  std::string_view texts_;
};

std::int64_t LastInBlocks(SQLite::Database &database) {
  return database.execAndGet("SELECT ifnull(max(last), 0) FROM text_blocks").getInt64();
}

}  // namespace

NumberSet TextsWith(SQLite::Database &database, const std::string &text) {
  NumberSet found;
  const std::string lower = Lower(text);
  // No text has a zero byte in it, but blocks have them between two.
  if (lower.find('\0') != lower.npos) return found;
  SQLite::Statement blocks(database, "SELECT data FROM text_blocks");
  while (blocks.executeStep()) {
    const SQLite::Column data = blocks.getColumn(0);
    Block({static_cast<const char *>(data.getBlob()), static_cast<std::size_t>(data.getBytes())})
        .Find(lower, found);
  }
  SQLite::Statement rest(database, "SELECT id, text FROM texts WHERE id > ?");
  rest.bind(1, LastInBlocks(database));
  while (rest.executeStep()) {
    if (Lower(rest.getColumn(1).getString()).find(lower) != lower.npos) {
      found.Insert(rest.getColumn(0).getInt64());
    }
  }
  return found;
}

void MakeTextBlocks(SQLite::Database &database) {
  const std::int64_t last = LastInBlocks(database);
  Rows count(database, "SELECT count(*) FROM texts WHERE id > ?");
  count.Begin(last);
  count.Next();
  const std::int64_t whole = count[0] - count[0] % static_cast<std::int64_t>(TEXTS);
  if (whole == 0) return;
  BlockMaker maker(database);
  SQLite::Statement texts(database, "SELECT id, text FROM texts WHERE id > ? ORDER BY id LIMIT ?");
  texts.bind(1, last);
  texts.bind(2, whole);
  while (texts.executeStep()) {
    maker.Add(texts.getColumn(0).getInt64(), texts.getColumn(1).getString());
  }
}

std::int64_t EndOfTextBlocks(SQLite::Database &database, std::int64_t after) {
  Rows last(database,
            "SELECT max(last) FROM (SELECT last FROM text_blocks WHERE last > ? "
            "ORDER BY last LIMIT ?)");
  last.Begin(after, BLOCKS_AT_ONCE);
  last.Next();
  return last[0] == 0 ? std::numeric_limits<std::int64_t>::max() : last[0];
}

void RemakeTextBlocks(SQLite::Database &database, std::int64_t after, std::int64_t end) {
  Rows old(database, "DELETE FROM text_blocks WHERE last > ? AND last <= ?");
  old.Begin(after, end);
  old.Next();
  if (database.getChanges() == 0) return;
  BlockMaker maker(database);
  SQLite::Statement texts(database,
                          "SELECT id, text FROM texts WHERE id > ? AND id <= ? ORDER BY id");
  texts.bind(1, after);
  texts.bind(2, end);
  while (texts.executeStep()) {
    maker.Add(texts.getColumn(0).getInt64(), texts.getColumn(1).getString());
  }
  maker.Write();
}

}  // namespace velmora::store
