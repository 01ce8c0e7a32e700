#include "store/texts.h"

namespace velmora::store {

Texts::Texts(SQLite::Database &database)
    : database_(database),
      find_(database, "SELECT id FROM texts WHERE kind = ? AND text = ?"),
      make_(database, "INSERT INTO texts (kind, text) VALUES (?, ?)") {}

std::int64_t Texts::Number(TextKind kind, std::string_view text) {
  if (text.empty()) return 0;
  Numbers &known = known_[static_cast<std::size_t>(kind)];
  if (const auto found = known.find(text); found != known.end()) return found->second;
  if (known.size() >= MOST) known.clear();
  const std::string key(text);
  std::int64_t number = Find(kind, key);
  if (number == 0) number = Make(kind, key);
  known.emplace(key, number);
  return number;
}

void Texts::Forget() {
  for (Numbers &known : known_) known.clear();
}

std::int64_t Texts::Find(TextKind kind, const std::string &text) {
  find_.reset();
  find_.bind(1, static_cast<int>(kind));
  find_.bindNoCopy(2, text);
  const std::int64_t number = find_.executeStep() ? find_.getColumn(0).getInt64() : 0;
  // What is not at its end goes on reading, and so keeps the database from taking up what is
  // written.
  find_.reset();
  return number;
}

std::int64_t Texts::Make(TextKind kind, const std::string &text) {
  make_.reset();
  make_.bind(1, static_cast<int>(kind));
  make_.bindNoCopy(2, text);
  make_.exec();
  return database_.getLastInsertRowid();
}

}  // namespace velmora::store
