// The values in a policy file that are written as texts.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

namespace velmora::host {

// Each throws `std::invalid_argument` that says how the value is written.

/// "512", "64K", "16M", "1G": bytes, in steps of 1024.
std::uint64_t ParseSize(std::string_view text);
/// "250ms", "10s", "2min", "12h", "30d".
std::chrono::milliseconds ParseDuration(std::string_view text);
/// "00000000 ff000000": bytes as pairs of hexadecimal digits, blanks between them as one likes.
std::vector<std::uint8_t> ParseBytes(std::string_view text);

}  // namespace velmora::host
