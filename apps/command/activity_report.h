// ActivityReport: what was blocked in a span of time, summed up, and how that is written down.
#pragma once

#include <string>
#include <vector>

#include "store/event_store.h"

namespace velmora::command {

struct ReportSection {
  store::Dimension by{};
  std::vector<store::Sum> sums{};
};

struct ActivityReport {
  /// Whole hours.
  store::Time from{};
  store::Time until{};
  store::Counts total{};
  std::vector<store::Sum> hours{};
  std::vector<ReportSection> sections{};
};

/// "client", "site", "category", "rule", "hour".
const char *NameOf(store::Dimension by) noexcept;

/// "2026-03-01 00:00 to 2026-03-08 12:34", in local time.
std::string TitleOf(const ActivityReport &report);
/// The first column of a row.
std::string RowName(const store::Sum &sum, store::Dimension by);
/// Is it told by how much pages got shorter? Not by category and rule.
bool HasBytes(store::Dimension by) noexcept;
/// What went wrong, each in a few words.
std::vector<std::string> TroublesOf(const ActivityReport &report);

std::string AsText(const ActivityReport &report);
/// A page of its own, without a script or anything from elsewhere.
std::string AsHtml(const ActivityReport &report);
/// RFC 4180, with a line of names in front of each section.
std::string AsCsv(const ActivityReport &report);
/// An object in one line.
std::string AsJson(const ActivityReport &report);

}  // namespace velmora::command
