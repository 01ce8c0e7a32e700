#include "html/unit_converter.h"

#include <array>

namespace velmora {

std::size_t UnitConverter::UCS2ToUTF8(char16_t unit, char *output,
                                      std::size_t room) const noexcept {
  const std::array<char, 2> bytes{static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  const char *input = bytes.data();
  std::size_t input_left = bytes.size();
  std::size_t room_left = room;
  converter_.Convert(input, input_left, output, room_left);
  return room - room_left;
}

}  // namespace velmora
