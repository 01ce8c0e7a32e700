// NumberSet: numbers of texts, or of what events are, asked about ten million times in a question.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstddef>
#include <cstdint>
#include <sqlite3.h>
#include <vector>

namespace velmora::store {

class NumberSet {
 public:
  /// Throws `SQLite::Exception` at a number that no store can have given.
  void Insert(std::int64_t number) {
    if (number < LEAST || number >= MOST) {
      throw SQLite::Exception("a number that is none", SQLITE_CORRUPT);
    }
    const std::size_t place = Place(number);
    if (place / BITS >= words_.size()) words_.resize(place / BITS + 1);
    words_[place / BITS] |= std::uint64_t{1} << (place % BITS);
  }
  bool Contains(std::int64_t number) const noexcept {
    const std::size_t place = Place(number);
    return place / BITS < words_.size() && (words_[place / BITS] >> (place % BITS) & 1U) != 0;
  }

 private:
  static constexpr std::size_t BITS = 64;
  /// What is no category of something blocked is below zero.
  static constexpr std::int64_t LEAST = -64;
  static constexpr std::int64_t MOST = std::int64_t{1} << 30;

  static std::size_t Place(std::int64_t number) noexcept {
    return static_cast<std::size_t>(number - LEAST);
  }

  std::vector<std::uint64_t> words_;
};

}  // namespace velmora::store
