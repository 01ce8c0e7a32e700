// Counters: what has been done, as `traffic_ctl metric match plugin.velmora` shows it.
#pragma once

namespace velmora::trafficserver {

enum class Counter {
  REQUESTS_JUDGED,
  REQUESTS_BLOCKED,
  RESPONSES,
  RESPONSES_FILTERED,
  RESPONSES_REFUSED,
  RESPONSES_BROKEN_OFF,
  /// Bytes of bodies that went into the filter, and that came out of it.
  BYTES_IN,
  BYTES_OUT,
};

void MakeCounters() noexcept;
void Count(Counter counter, long long amount = 1) noexcept;

}  // namespace velmora::trafficserver
