#include "host/policy/policy_values.h"

#include <charconv>
#include <limits>
#include <stdexcept>
#include <string>

namespace velmora::host {
namespace {

struct Unit {
  std::string_view name;
  std::uint64_t factor;
};

constexpr Unit SIZES[] = {{"", 1}, {"K", 1U << 10}, {"M", 1U << 20}, {"G", 1U << 30}};
constexpr Unit DURATIONS[] = {
    {"ms", 1}, {"s", 1000}, {"min", 60'000}, {"h", 3'600'000}, {"d", 86'400'000}};

/// A number with one of the units; `how` tells how it is written.
template <std::size_t COUNT>
std::uint64_t ParseQuantity(std::string_view text, const Unit (&units)[COUNT], const char *how) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const std::string_view name = text.substr(static_cast<std::size_t>(end - text.data()));
  for (const Unit &unit : units) {
    if (error != std::errc() || name != unit.name) continue;
    // Half of the range is left to those who calculate in signed numbers.
    if (number <= std::numeric_limits<std::int64_t>::max() / unit.factor) {
      return number * unit.factor;
    }
  }
  throw std::invalid_argument("\"" + std::string(text) + "\" should be " + how);
}

int DigitValue(char c) noexcept {
  if ('0' <= c && c <= '9') return c - '0';
  if ('a' <= c && c <= 'f') return c - 'a' + 10;
  if ('A' <= c && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::uint64_t ParseSize(std::string_view text) {
  return ParseQuantity(text, SIZES, "a size as 512, \"64K\", \"16M\" or \"1G\"");
}

std::chrono::milliseconds ParseDuration(std::string_view text) {
  return std::chrono::milliseconds(
      ParseQuantity(text, DURATIONS, "a time as \"250ms\", \"10s\", \"2min\", \"12h\" or \"30d\""));
}

std::vector<std::uint8_t> ParseBytes(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == ' ') {
      ++i;
      continue;
    }
    const int high = DigitValue(text[i]);
    const int low = i + 1 < text.size() ? DigitValue(text[i + 1]) : -1;
    if (high < 0 || low < 0) {
      throw std::invalid_argument("\"" + std::string(text) + "\" should be pairs of hex digits");
    }
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    i += 2;
  }
  return bytes;
}

}  // namespace velmora::host
