#include "ecap/settings.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <stdexcept>

namespace velmora::ecap {
namespace {

std::invalid_argument Unreadable(std::string_view value, std::string_view expected) {
  return std::invalid_argument(std::string("not ").append(expected).append(": ").append(value));
}

bool ReadSwitch(std::string_view value) {
  if (value == "on") return true;
  if (value == "off") return false;
  throw Unreadable(value, "on or off");
}

template <class Number>
Number ReadNumber(std::string_view value) {
  Number number{};
  const char *const end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  if (error != std::errc{} || stop != end) throw Unreadable(value, "a number that fits");
  return number;
}

host::BeyondLimit ReadBeyondLimit(std::string_view value) {
  if (value == "pass") return host::BeyondLimit::PASS_UNFILTERED;
  if (value == "fail") return host::BeyondLimit::FAIL;
  throw Unreadable(value, "pass or fail");
}

struct Key {
  std::string_view name;
  void (*set)(Settings &settings, std::string_view value);
};

constexpr Key KEYS[] = {
    {"plugin", [](Settings &s, std::string_view value) { s.plugin = value; }},
    {"ad-library", [](Settings &s, std::string_view value) { s.ad_library = value; }},
    {"events", [](Settings &s, std::string_view value) { s.events = value; }},
    {"block",
     [](Settings &s, std::string_view value) { s.categories = host::CategorySet::Parse(value); }},
    {"allow",
     [](Settings &s, std::string_view value) {
       s.categories = s.categories.Without(host::CategorySet::Parse(value));
     }},
    {"beyond-limits",
     [](Settings &s, std::string_view value) {
       s.response.stream.limits.beyond = ReadBeyondLimit(value);
     }},
    {"max-held",
     [](Settings &s, std::string_view value) {
       s.response.stream.limits.held_bytes.most = ReadNumber<std::uint32_t>(value);
     }},
    {"max-time",
     [](Settings &s, std::string_view value) {
       s.response.stream.limits.filter_time.most =
           std::chrono::seconds(ReadNumber<std::uint32_t>(value));
     }},
    {"max-decoded",
     [](Settings &s, std::string_view value) {
       s.response.decoding.size = ReadNumber<std::uint64_t>(value);
     }},
    {"max-ratio",
     [](Settings &s, std::string_view value) {
       s.response.decoding.ratio = ReadNumber<std::uint64_t>(value);
       if (s.response.decoding.ratio == 0) throw Unreadable(value, "a ratio");
     }},
    {"gzip",
     [](Settings &s, std::string_view value) { s.response.gzips_again = ReadSwitch(value); }},
    {"decode", [](Settings &s, std::string_view value) { s.response.decodes = ReadSwitch(value); }},
    {"map-types",
     [](Settings &s, std::string_view value) { s.response.maps_types = ReadSwitch(value); }},
    {"map-charsets",
     [](Settings &s, std::string_view value) { s.response.maps_charsets = ReadSwitch(value); }},
    {"read-charset",
     [](Settings &s, std::string_view value) {
       s.response.reads_page_charset = ReadSwitch(value);
     }},
    {"check-gifs",
     [](Settings &s, std::string_view value) { s.response.checks_gifs = ReadSwitch(value); }},
};

}  // namespace

void Settings::Set(std::string_view name, std::string_view value) {
  for (const Key &key : KEYS) {
    if (key.name == name) return key.set(*this, value);
  }
  throw std::invalid_argument("no such key");
}

}  // namespace velmora::ecap
