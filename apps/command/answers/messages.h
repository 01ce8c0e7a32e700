// What the command says on standard error.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora::command {

/// Writes a line with the command's name in front.
void PrintMessage(std::string_view message) noexcept;

/// Writes a line as it is.
void PrintLine(std::string_view line) noexcept;

/// A text from a page, fit for a line on a terminal: control characters, marks that turn the
/// direction of what follows, and what is not UTF-8 as \xNN; cut, with "..." in place of the rest,
/// when it is longer than `most` bytes.
std::string Printable(std::string_view text, std::size_t most = 160);

/// The same in no more than `width` bytes, however it is written.
std::string Fitting(std::string_view text, std::size_t width);

}  // namespace velmora::command
