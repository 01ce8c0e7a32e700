// The process-wide converter from 16-bit units to UTF-8.
#pragma once

#include <cstddef>

#include "html/converter.h"

namespace velmora {

/// Holds libiconv's converter from "UCS-2LE" to "UTF-8" for the life of the module. The tokenizer
/// takes the same answers from `AppendUtf8`, which needs no shared state; this is the authority
/// that it is held to.
class UnitConverter {
 public:
  /// Converts one unit into the `room` bytes at `output` and returns the number written. One thread
  /// at a time.
  std::size_t UCS2ToUTF8(char16_t unit, char *output, std::size_t room) const noexcept;

 private:
  Converter converter_{"UTF-8", "UCS-2LE"};
};

}  // namespace velmora
