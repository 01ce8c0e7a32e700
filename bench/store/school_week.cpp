#include "school_week.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "host/events/event.h"

namespace velmora::bench {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

constexpr std::size_t CLIENTS = 1000;
constexpr std::size_t SITES = 20'000;
constexpr std::size_t RULES = 5'000;
/// Addresses that a rule blocks, up to their "?".
constexpr std::size_t ADDRESSES = 40;
constexpr int DAYS = 5;
constexpr auto DAY = hours(8);

/// Numbers below `size`, the first ones most often.
class Zipf {
 public:
  explicit Zipf(std::size_t size) : sums_(size) {
    double sum = 0;
    for (std::size_t i = 0; i < size; ++i) sums_[i] = sum += 1 / static_cast<double>(i + 1);
  }
  template <class Random>
  std::size_t operator()(Random &random) const {
    std::uniform_real_distribution<double> place(0, sums_.back());
    const auto found = std::ranges::lower_bound(sums_, place(random));
    return std::min(static_cast<std::size_t>(found - sums_.begin()), sums_.size() - 1);
  }

 private:
  std::vector<double> sums_;
};

/// The time of an event, lessons following each other without a break.
std::chrono::system_clock::time_point TimeOf(std::uint64_t event, std::uint64_t events) {
  const auto now = std::chrono::floor<milliseconds>(std::chrono::system_clock::now());
  const double share = static_cast<double>(event) / static_cast<double>(events) * DAYS;
  const auto day = static_cast<int>(share);
  const auto in_day = milliseconds(
      static_cast<std::int64_t>((share - day) * static_cast<double>(milliseconds(DAY).count())));
  return now - std::chrono::days(DAYS - 1 - day) - DAY + in_day;
}

}  // namespace

void WriteSchoolWeek(const std::filesystem::path &log, std::uint64_t events) {
  std::FILE *const file = std::fopen(log.c_str(), "w");
  if (file == nullptr) throw std::system_error(errno, std::generic_category(), log.string());
  std::mt19937_64 random(1);
  const Zipf sites(SITES);
  const Zipf rules(RULES);
  const Zipf addresses(ADDRESSES);
  // Who reads a page asks for a dozen things that are blocked.
  struct Reader {
    std::size_t site = 0;
    unsigned page = 0;
    unsigned left = 0;
  };
  std::vector<Reader> readers(CLIENTS);
  for (std::uint64_t i = 0; i < events; ++i) {
    const std::size_t client = random() % CLIENTS;
    Reader &reader = readers[client];
    const std::string begin = host::TimeText(TimeOf(i, events));
    const std::string id = host::MakeBlockId();
    if (reader.left == 0) {
      reader = {sites(random), static_cast<unsigned>(random() % 50), 12};
      std::fprintf(
          file,
          "{\"time\":\"%s\",\"pid\":4711,\"event\":\"filtered\",\"client\":\"10.0.%zu.%zu\","
          "\"url\":\"https://www.site%zu.example/articles/%u.html\",\"id\":\"%s\",\"items\":12,"
          "\"saved\":%d}\n",
          begin.c_str(), client / 250, client % 250 + 1, reader.site, reader.page, id.c_str(),
          static_cast<int>(random() % 20'000));
      continue;
    }
    --reader.left;
    const std::size_t rule = rules(random);
    std::fprintf(file,
                 "{\"time\":\"%s\",\"pid\":4711,\"event\":\"blocked\",\"client\":\"10.0.%zu.%zu\","
                 "\"url\":\"https://cdn.ads%zu.example/tag/%zu/banner.js?session=%016llx&slot=%d\","
                 "\"category\":\"requests\",\"code\":500,\"item\":\"GET\",\"detail\":\"\\\"||ads%"
                 "zu.example^\\\"\","
                 "\"id\":\"%s\",\"page\":\"https://www.site%zu.example/articles/"
                 "%u.html\",\"type\":\"script\","
                 "\"list\":\"/usr/share/velmora/lists/easylist.txt:%zu\"}\n",
                 begin.c_str(), client / 250, client % 250 + 1, rule, addresses(random),
                 static_cast<unsigned long long>(random()), static_cast<int>(random() % 9), rule,
                 id.c_str(), reader.site, reader.page, rule + 100);
  }
  if (std::fclose(file) != 0) throw std::system_error(errno, std::generic_category(), log.string());
}

}  // namespace velmora::bench
