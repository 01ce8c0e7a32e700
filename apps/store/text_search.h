// TextSearch: which events a text is found in, as a part of their addresses, their rule or their
// client, or as their whole id.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velmora::store {

class TextSearch {
 public:
  TextSearch(SQLite::Database &database, std::string text);

  /// Whether the text is in one that a row names; what is known of one is remembered. 0 is nothing.
  bool IsIn(std::int64_t number);
  /// The keys of events that have the text for an id.
  const std::vector<std::int64_t> &WithId() const noexcept { return with_id_; }

  /// A column of events, and the values with which it holds the text.
  using Values = std::pair<const char *, std::vector<std::int64_t>>;
  /// All that there are: dear for a text that is in many.
  std::vector<Values> Everywhere();

 private:
  std::vector<std::int64_t> Find(const std::string &sql, const std::string &pattern);

  SQLite::Database &database_;
  const std::string text_;
  std::vector<std::int64_t> with_id_;
  SQLite::Statement is_in_;
  std::unordered_map<std::int64_t, bool> known_;
};

}  // namespace velmora::store
