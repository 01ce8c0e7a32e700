// Matcher: a filter in the numbers of a store, asked about rows.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "store/event_store.h"
#include "store/texts.h"

namespace velmora::store {

using Numbers = std::unordered_set<std::int64_t>;

/// What a filter looks at in a row; 0 where the row holds nothing.
struct RowNumbers {
  std::int64_t what = 0;
  std::int64_t client = 0;
  std::int64_t site = 0;
  std::int64_t rule = 0;
  std::int64_t address = 0;
  std::int64_t page = 0;
};

/// Where a text was found.
struct TextPlaces {
  Numbers addresses{};
  Numbers rules{};
  Numbers clients{};
  /// What the text is as an id.
  std::string id{};
};

class Matcher {
 public:
  Matcher(SQLite::Database &database, const Filter &filter);

  bool PassesWhat(std::int64_t what) const;
  bool PassesClient(std::int64_t client) const;
  bool PassesSite(std::int64_t site) const { return !sites_ || sites_->contains(site); }
  bool PassesRule(std::int64_t rule) const { return !rules_ || rules_->contains(rule); }
  /// All but the text.
  bool Passes(const RowNumbers &row) const {
    return PassesWhat(row.what) && PassesClient(row.client) && PassesSite(row.site) &&
           PassesRule(row.rule);
  }
  bool HasText(const RowNumbers &row) const;

  /// The numbers asked for; none where all pass.
  const std::optional<Numbers> &Whats() const noexcept { return whats_; }
  const std::optional<Numbers> &Clients() const noexcept { return clients_; }
  const std::optional<Numbers> &Sites() const noexcept { return sites_; }
  const std::optional<Numbers> &Rules() const noexcept { return rules_; }
  const std::optional<TextPlaces> &Text() const noexcept { return text_; }

 private:
  std::optional<Numbers> whats_;
  std::optional<Numbers> clients_;
  Numbers without_clients_;
  std::optional<Numbers> sites_;
  std::optional<Numbers> rules_;
  std::optional<TextPlaces> text_;
};

}  // namespace velmora::store
