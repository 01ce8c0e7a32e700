#include "html/decoder.h"

#include <cerrno>
#include <iconv.h>

#include "html/converter.h"

namespace velmora {

Decoder::Decoder(const char *to, const char *from) noexcept
    : is_open_(libiconv_open_into(to, from, reinterpret_cast<iconv_allocation_t *>(&state_)) == 0) {
}

std::size_t Decoder::Convert(const char *&input, std::size_t &input_left, char *&output,
                             std::size_t &room_left) noexcept {
  static_assert(sizeof(iconv_allocation_t) <= sizeof(State));
  static_assert(alignof(iconv_allocation_t) <= alignof(State));
  return libiconv(&state_, &input, &input_left, &output, &room_left);
}

std::size_t Decoder::ConvertOrTakeBack(const char *&input, std::size_t &input_left, char *&output,
                                       std::size_t &room_left) noexcept {
  const State before = state_;
  const std::size_t result = Convert(input, input_left, output, room_left);
  if (result == CONVERSION_FAILED && errno == EINVAL) state_ = before;
  return result;
}

}  // namespace velmora
