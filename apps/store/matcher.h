// Matcher: a filter in the numbers of a store, asked about rows.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <cstdint>
#include <optional>
#include <string>

#include "store/event_store.h"
#include "store/number_set.h"
#include "store/sum_tables.h"

namespace velmora::store {

/// All of a filter but its times and its text.
class Matcher {
 public:
  Matcher(SQLite::Database &database, const Filter &filter);

  bool Passes(const RowNumbers &row) const {
    return PassesWhat(row.what) && PassesClient(row.client) &&
           (!sites_ || sites_->Contains(row.site)) && (!rules_ || rules_->Contains(row.rule));
  }

  /// The numbers asked for; none where all pass.
  const std::optional<NumberSet> &Whats() const noexcept { return whats_; }
  const std::optional<NumberSet> &Clients() const noexcept { return clients_; }
  /// The clients that do not pass.
  const std::optional<NumberSet> &WithoutClients() const noexcept { return without_clients_; }
  const std::optional<NumberSet> &Sites() const noexcept { return sites_; }
  const std::optional<NumberSet> &Rules() const noexcept { return rules_; }

 private:
  bool PassesWhat(std::int64_t what) const { return !whats_ || whats_->Contains(what); }
  bool PassesClient(std::int64_t client) const {
    return (!clients_ || clients_->Contains(client)) &&
           !(without_clients_ && without_clients_->Contains(client));
  }

  std::optional<NumberSet> whats_;
  std::optional<NumberSet> clients_;
  std::optional<NumberSet> without_clients_;
  std::optional<NumberSet> sites_;
  std::optional<NumberSet> rules_;
};

}  // namespace velmora::store
