// A school's week as an event log: a thousand clients, from Monday to Friday, eight hours a day.
#pragma once

#include <cstdint>
#include <filesystem>

namespace velmora::bench {

/// Writes a log of so many events, whose last one is of now. What is popular is very much so:
/// sites, rules and addresses follow Zipf's law. The same for the same number, but for the times.
void WriteSchoolWeek(const std::filesystem::path &log, std::uint64_t events);

}  // namespace velmora::bench
