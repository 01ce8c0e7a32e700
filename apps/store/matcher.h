// Matcher: a filter in the numbers of a store, asked about rows.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>

#include "store/event_store.h"

namespace velmora::store {

using Numbers = std::unordered_set<std::int64_t>;

/// What a filter looks at in a row; 0 where the row holds nothing.
struct RowNumbers {
  std::int64_t what = 0;
  std::int64_t client = 0;
  std::int64_t site = 0;
  std::int64_t rule = 0;
};

/// All of a filter but its times and its text.
class Matcher {
 public:
  Matcher(SQLite::Database &database, const Filter &filter);

  bool Passes(const RowNumbers &row) const {
    return PassesWhat(row.what) && PassesClient(row.client) &&
           (!sites_ || sites_->contains(row.site)) && (!rules_ || rules_->contains(row.rule));
  }

  /// The numbers asked for; none where all pass.
  const std::optional<Numbers> &Whats() const noexcept { return whats_; }
  const std::optional<Numbers> &Clients() const noexcept { return clients_; }
  const std::optional<Numbers> &Sites() const noexcept { return sites_; }
  const std::optional<Numbers> &Rules() const noexcept { return rules_; }

 private:
  bool PassesWhat(std::int64_t what) const { return !whats_ || whats_->contains(what); }
  bool PassesClient(std::int64_t client) const {
    return (!clients_ || clients_->contains(client)) && !without_clients_.contains(client);
  }

  std::optional<Numbers> whats_;
  std::optional<Numbers> clients_;
  Numbers without_clients_;
  std::optional<Numbers> sites_;
  std::optional<Numbers> rules_;
};

}  // namespace velmora::store
