#include "store/matcher.h"

#include <algorithm>

#include "store/event_rows.h"
#include "store/texts.h"

namespace velmora::store {
namespace {

/// The numbers of the texts that something is true of.
template <class Predicate>
NumberSet Find(SQLite::Database &database, TextKind kind, Predicate is_meant) {
  NumberSet numbers;
  SQLite::Statement texts(database, "SELECT id, text FROM texts WHERE kind = ?");
  texts.bind(1, static_cast<int>(kind));
  while (texts.executeStep()) {
    if (is_meant(std::string(texts.getColumn(1).getText()))) {
      numbers.Insert(texts.getColumn(0).getInt64());
    }
  }
  return numbers;
}

NumberSet ClientsIn(SQLite::Database &database, const std::vector<host::ClientNetwork> &networks) {
  return Find(database, TextKind::CLIENT, [&](const std::string &text) {
    // It may have been written as a network.
    const auto address = host::ClientAddress::Parse(text.substr(0, text.find('/')));
    return address && std::ranges::any_of(networks, [&](const host::ClientNetwork &network) {
             return network.Contains(*address);
           });
  });
}

NumberSet WhatsOf(const Filter &filter) {
  NumberSet whats;
  const auto is_asked = [&](host::EventKind kind) {
    return filter.kinds.empty() || std::ranges::find(filter.kinds, kind) != filter.kinds.end();
  };
  if (is_asked(host::EventKind::BLOCKED)) {
    for (const host::Category &category : host::CATEGORY_TABLE) {
      if (!filter.categories || filter.categories->Contains(category.code)) {
        whats.Insert(category.code);
      }
    }
    if (!filter.categories) whats.Insert(0);
  }
  if (filter.categories) return whats;
  for (const host::EventKind kind : filter.kinds) {
    if (kind != host::EventKind::BLOCKED) whats.Insert(WhatOf(kind));
  }
  return whats;
}

}  // namespace

Matcher::Matcher(SQLite::Database &database, const Filter &filter) {
  if (filter.categories || !filter.kinds.empty()) whats_ = WhatsOf(filter);
  if (!filter.clients.empty()) clients_ = ClientsIn(database, filter.clients);
  if (!filter.without_clients.empty()) {
    without_clients_ = ClientsIn(database, filter.without_clients);
  }
  if (!filter.sites.IsEmpty()) {
    sites_ = Find(database, TextKind::SITE, [&](const std::string &text) {
      return filter.sites.Contains(host::HostName(text));
    });
  }
  if (!filter.rule.empty()) {
    rules_ = Find(database, TextKind::RULE,
                  [&](const std::string &text) { return RuleOf(text) == filter.rule; });
  }
}

}  // namespace velmora::store
