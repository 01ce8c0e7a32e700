// Texts: the texts of a store that come again and again, each with its number.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace velmora::store {

enum class TextKind { CLIENT, SITE, RULE, ADDRESS };

/// A feeder's: finds the number of a text, or gives it one. What stands in memory is true for as
/// long as the transaction goes on.
class Texts {
 public:
  explicit Texts(SQLite::Database &database);

  /// None, 0, for an empty text.
  std::int64_t Number(TextKind kind, std::string_view text);
  /// Another transaction begins: other feeders may have dropped texts.
  void Forget();

 private:
  /// In memory at once, of each kind.
  static constexpr std::size_t MOST = 1U << 20;

  /// Not `noexcept`, so that the map keeps what it answers: texts are long.
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const {
      return std::hash<std::string_view>()(text);
    }
  };
  using Numbers = std::unordered_map<std::string, std::int64_t, Hash, std::equal_to<>>;

  std::int64_t Find(TextKind kind, const std::string &text);
  std::int64_t Make(TextKind kind, const std::string &text);

  SQLite::Database &database_;
  SQLite::Statement find_;
  SQLite::Statement make_;
  std::array<Numbers, 4> known_;
};

}  // namespace velmora::store
