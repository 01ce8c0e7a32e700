// How events stand in the store: their numbers, and the columns of their table.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/events/event.h"
#include "store/event_store.h"

namespace velmora::store {

/// Keys of one millisecond.
inline constexpr std::int64_t KEYS = 1024;

/// The first key of a time.
inline std::int64_t KeyOf(Time time) noexcept {
  return std::chrono::floor<std::chrono::milliseconds>(time).time_since_epoch().count() * KEYS;
}
inline Time TimeOf(std::int64_t key) noexcept {
  return Time(std::chrono::milliseconds(key >= 0 ? key / KEYS : (key - KEYS + 1) / KEYS));
}

/// `BeginningOfHour` in seconds.
std::int64_t HourOf(Time time);

/// Of 24 hours the first, so that each lies in one day whatever zone it was told in.
constexpr std::int64_t DayOf(std::int64_t hour) noexcept {
  constexpr std::int64_t DAY = 86'400;
  const std::int64_t in_day = hour % DAY;
  return hour - in_day - (in_day < 0 ? DAY : 0);
}

/// The category of what was blocked, below zero of another event.
std::int64_t WhatOf(const host::Event &event) noexcept;
std::int64_t WhatOf(host::EventKind kind) noexcept;
host::EventKind KindOf(std::int64_t what) noexcept;

/// Adds so many events of a sort.
void Add(Counts &counts, std::int64_t what, std::int64_t count, std::int64_t bytes) noexcept;
void Subtract(Counts &counts, const Counts &others) noexcept;

/// An id as a number that is above zero, the same in every process; 0 for none.
std::int64_t NumberOfId(std::string_view id) noexcept;
/// Ids as `host::MakeBlockId` makes them are bound as a number, which takes less room, others as
/// they are; none as nothing.
void BindId(SQLite::Statement &statement, int place, const std::string &id);
std::string IdOf(const SQLite::Column &column);

/// "http://www.example.com/a" of "http://www.example.com/a?b=c", and the rest.
struct SplitAddress {
  std::string_view address;
  std::string_view query;
};
SplitAddress Split(std::string_view url) noexcept;

/// A rule with its list and line, as `texts` has it; empty where the event names none.
std::string RuleText(const host::Event &event);
std::string_view RuleOf(std::string_view text) noexcept;
std::string_view ListOf(std::string_view text) noexcept;

}  // namespace velmora::store
