#include "store/event_rows.h"

#include <algorithm>
#include <ctime>
#include <iterator>

namespace velmora::store {
namespace {

using host::EventKind;

struct KindNumber {
  EventKind kind;
  std::int64_t number;
};

// These stand in databases: none may ever mean something else.
constexpr KindNumber KIND_NUMBERS[] = {
    {EventKind::FILTERED, -1}, {EventKind::GUARDED, -2}, {EventKind::LEFT_OUT, -3},
    {EventKind::OPENED, -4},   {EventKind::ALLOWED, -5}, {EventKind::STOPPED, -6},
    {EventKind::ERROR, -7},    {EventKind::DROPPED, -8},
};

constexpr std::uint64_t Counts::*NUMBERS[] = {
    &Counts::blocked, &Counts::requests_saved, &Counts::filtered, &Counts::guarded,
    &Counts::stopped, &Counts::errors,         &Counts::missing,
};

constexpr std::string_view ID_LETTERS = "0123456789abcdefghjkmnpqrstvwxyz";
constexpr std::size_t ID_LENGTH = 10;

/// Of an id as `host::MakeBlockId` makes them.
std::optional<std::int64_t> NumberOfMadeId(std::string_view id) noexcept {
  if (id.size() != ID_LENGTH) return std::nullopt;
  std::int64_t number = 0;
  for (const char letter : id) {
    const std::size_t value = ID_LETTERS.find(letter);
    if (value == ID_LETTERS.npos) return std::nullopt;
    number = number * 32 + static_cast<std::int64_t>(value);
  }
  return number;
}

}  // namespace

std::int64_t HourOf(Time time) {
  const std::time_t seconds =
      std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
  std::tm local{};
  localtime_r(&seconds, &local);
  return std::int64_t{seconds} - std::int64_t{60} * local.tm_min - local.tm_sec;
}

Time BeginningOfHour(Time time) {
  return Time(std::chrono::seconds(HourOf(time)));
}

std::int64_t WhatOf(EventKind kind) noexcept {
  const auto found = std::ranges::find(KIND_NUMBERS, kind, &KindNumber::kind);
  return found == std::end(KIND_NUMBERS) ? 0 : found->number;
}

std::int64_t WhatOf(const host::Event &event) noexcept {
  if (event.kind != EventKind::BLOCKED) return WhatOf(event.kind);
  return std::max(event.category, 0);
}

EventKind KindOf(std::int64_t what) noexcept {
  if (what >= 0) return EventKind::BLOCKED;
  const auto found = std::ranges::find(KIND_NUMBERS, what, &KindNumber::number);
  return found == std::end(KIND_NUMBERS) ? EventKind::BLOCKED : found->kind;
}

void Add(Counts &counts, std::int64_t what, std::int64_t count, std::int64_t bytes) noexcept {
  const auto number = static_cast<std::uint64_t>(count);
  switch (KindOf(what)) {
    case EventKind::BLOCKED:
      counts.blocked += number;
      if (what == host::CATEGORY_REQUESTS) counts.requests_saved += number;
      break;
    case EventKind::FILTERED:
      counts.filtered += number;
      counts.bytes_saved += bytes;
      break;
    case EventKind::GUARDED:
      counts.guarded += number;
      break;
    case EventKind::STOPPED:
      counts.stopped += number;
      break;
    case EventKind::ERROR:
      counts.errors += number;
      break;
    case EventKind::DROPPED:
      counts.missing += number;
      break;
    case EventKind::LEFT_OUT:
    case EventKind::OPENED:
    case EventKind::ALLOWED:
    case EventKind::COUNTERS:
      break;
  }
}

void Add(Counts &counts, const Counts &others) noexcept {
  for (const auto member : NUMBERS) counts.*member += others.*member;
  counts.bytes_saved += others.bytes_saved;
}

void Subtract(Counts &counts, const Counts &others) noexcept {
  for (const auto member : NUMBERS) {
    counts.*member -= std::min(counts.*member, others.*member);
  }
  counts.bytes_saved -= others.bytes_saved;
}

std::int64_t NumberOfId(std::string_view id) noexcept {
  if (id.empty()) return 0;
  if (const auto number = NumberOfMadeId(id)) return *number + 1;
  // FNV-1a, apart from the others by its second highest bit.
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : id) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return static_cast<std::int64_t>((hash >> 2U) | std::uint64_t{1} << 62U);
}

void BindId(SQLite::Statement &statement, int place, const std::string &id) {
  if (id.empty()) return statement.bind(place);
  if (const auto number = NumberOfMadeId(id)) return statement.bind(place, *number);
  statement.bind(place, id);
}

std::string IdOf(const SQLite::Column &column) {
  if (!column.isInteger()) return column.getString();
  std::string id(ID_LENGTH, '0');
  auto number = static_cast<std::uint64_t>(column.getInt64());
  for (std::size_t i = ID_LENGTH; i-- > 0; number /= 32) id[i] = ID_LETTERS[number % 32];
  return id;
}

SplitAddress Split(std::string_view url) noexcept {
  const std::size_t end = std::min(url.find_first_of("?#"), url.size());
  return {url.substr(0, end), url.substr(end)};
}

std::string RuleText(const host::Event &event) {
  const std::string &detail = event.detail;
  const bool is_rule = event.kind == EventKind::BLOCKED && detail.size() > 2 &&
                       detail.front() == '"' && detail.back() == '"';
  if (!is_rule) return {};
  return detail.substr(1, detail.size() - 2) + "\n" + event.list;
}

std::string_view RuleOf(std::string_view text) noexcept {
  return text.substr(0, text.rfind('\n'));
}

std::string_view ListOf(std::string_view text) noexcept {
  const std::size_t end = text.rfind('\n');
  return end == text.npos ? std::string_view() : text.substr(end + 1);
}

}  // namespace velmora::store
