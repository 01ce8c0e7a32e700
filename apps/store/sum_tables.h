// The tables of sums, for all who make, fill, read and empty them.
#pragma once

#include <compare>
#include <cstdint>

#include "store/texts.h"

namespace velmora::store {

/// What an event, or a row of sums, is counted by; 0 where it holds nothing.
struct RowNumbers {
  std::int64_t client = 0;
  std::int64_t site = 0;
  std::int64_t rule = 0;
  std::int64_t what = 0;

  auto operator<=>(const RowNumbers &) const = default;
};

struct SumTable {
  /// By the hour.
  const char *hours;
  /// The same by the day; none where there are few rows.
  const char *days = nullptr;
  /// What rows are told apart by beside the time and what happened; none: by nothing.
  const char *column = nullptr;
  std::int64_t RowNumbers::*number = nullptr;
  /// Of the texts whose numbers stand in the column.
  TextKind kind{};
};

/// The smallest first.
inline constexpr SumTable SUM_TABLES[] = {
    {"hour_sums"},
    {"client_sums", "client_days", "client", &RowNumbers::client, TextKind::CLIENT},
    {"site_sums", "site_days", "site", &RowNumbers::site, TextKind::SITE},
    {"rule_sums", "rule_days", "rule", &RowNumbers::rule, TextKind::RULE},
};

}  // namespace velmora::store
