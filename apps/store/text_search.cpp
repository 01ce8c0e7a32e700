#include "store/text_search.h"

#include "store/event_rows.h"
#include "store/texts.h"

namespace velmora::store {
namespace {

/// For LIKE, with "!" before what would mean something else.
std::string Pattern(std::string_view text) {
  std::string pattern = "%";
  for (const char letter : text) {
    if (letter == '%' || letter == '_' || letter == '!') pattern += '!';
    pattern += letter;
  }
  return pattern + "%";
}

}  // namespace

TextSearch::TextSearch(SQLite::Database &database, std::string text)
    : database_(database),
      text_(std::move(text)),
      is_in_(database, "SELECT text LIKE ? ESCAPE '!' FROM texts WHERE id = ?") {
  SQLite::Statement rows(database, "SELECT key FROM events WHERE id = ?");
  BindId(rows, 1, text_);
  while (rows.executeStep()) with_id_.push_back(rows.getColumn(0).getInt64());
  is_in_.bind(1, Pattern(text_));
}

bool TextSearch::IsIn(std::int64_t number) {
  if (number == 0) return false;
  const auto [known, is_new] = known_.try_emplace(number, false);
  if (is_new) {
    is_in_.reset();
    is_in_.bind(2, number);
    known->second = is_in_.executeStep() && is_in_.getColumn(0).getInt() != 0;
  }
  return known->second;
}

std::vector<std::int64_t> TextSearch::Find(const std::string &sql, const std::string &pattern) {
  std::vector<std::int64_t> numbers;
  SQLite::Statement rows(database_, sql);
  rows.bind(1, pattern);
  while (rows.executeStep()) numbers.push_back(rows.getColumn(0).getInt64());
  return numbers;
}

std::vector<TextSearch::Values> TextSearch::Everywhere() {
  const auto scan = [&](TextKind kind) {
    return Find("SELECT id FROM texts WHERE text LIKE ? ESCAPE '!' AND kind = " +
                    std::to_string(static_cast<int>(kind)),
                Pattern(text_));
  };
  // The index knows three letters and more, and no signs that stand for themselves.
  const bool is_indexed = text_.size() >= 3 && text_.find_first_of("%_!") == text_.npos;
  const std::vector<std::int64_t> addresses =
      is_indexed ? Find("SELECT rowid FROM address_search WHERE text LIKE ?", Pattern(text_))
                 : scan(TextKind::ADDRESS);
  return {{"address", addresses},
          {"page", addresses},
          {"rule", scan(TextKind::RULE)},
          {"client", scan(TextKind::CLIENT)},
          {"key", with_id_}};
}

}  // namespace velmora::store
