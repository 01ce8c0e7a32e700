#include "html/converter.h"

#include <array>
#include <cerrno>
#include <iconv.h>
#include <utility>

#include "base/no_memory.h"

namespace velmora {

Converter::Converter(const char *to, const char *from) noexcept : handle_(libiconv_open(to, from)) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): how libiconv says that it failed
  if (handle_ != reinterpret_cast<iconv_t>(-1)) return;
  handle_ = nullptr;
  if (errno == ENOMEM) base::TellNoMemory();
}

bool Converter::Close() noexcept {
  void *const handle = std::exchange(handle_, nullptr);
  return handle == nullptr || libiconv_close(handle) == 0;
}

std::size_t Converter::Convert(const char *&input, std::size_t &input_left, char *&output,
                               std::size_t &room_left) const noexcept {
  return libiconv(handle_, &input, &input_left, &output, &room_left);
}

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
