#include "trafficserver/counters.h"

#include <array>
#include <cstddef>
#include <ts/ts.h>

namespace velmora::trafficserver {
namespace {

constexpr std::array NAMES = {
    "plugin.velmora.requests.judged",    "plugin.velmora.requests.blocked",
    "plugin.velmora.responses",          "plugin.velmora.responses.filtered",
    "plugin.velmora.responses.refused",  "plugin.velmora.responses.broken_off",
    "plugin.velmora.responses.bytes_in", "plugin.velmora.responses.bytes_out",
};
std::array<int, NAMES.size()> numbers;

}  // namespace

void MakeCounters() noexcept {
  for (std::size_t i = 0; i < NAMES.size(); ++i) {
    numbers[i] =
        TSStatCreate(NAMES[i], TS_RECORDDATATYPE_INT, TS_STAT_NON_PERSISTENT, TS_STAT_SYNC_SUM);
  }
}

void Count(Counter counter, long long amount) noexcept {
  const int number = numbers[static_cast<std::size_t>(counter)];
  if (number != TS_ERROR) TSStatIntIncrement(number, amount);
}

}  // namespace velmora::trafficserver
