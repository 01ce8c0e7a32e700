// Random words, and their comparison.
#pragma once

#include <string>
#include <string_view>

namespace velmora::web {

/// 160 random bits in letters and digits. Throws `std::system_error`.
std::string RandomWord();

/// In a time that does not tell how far they are equal.
bool AreEqual(std::string_view one, std::string_view other) noexcept;

}  // namespace velmora::web
