#include "html/decoder.h"

#include <iconv.h>

namespace velmora {

static_assert(sizeof(iconv_allocation_t) <= sizeof(Decoder::State));
static_assert(alignof(iconv_allocation_t) <= alignof(Decoder::State));

Decoder::Decoder(const char *to, const char *from) noexcept
    : is_open_(libiconv_open_into(to, from, reinterpret_cast<iconv_allocation_t *>(&state_)) == 0) {
}

std::size_t Decoder::Convert(const char *&input, std::size_t &input_left, char *&output,
                             std::size_t &room_left) noexcept {
  return libiconv(&state_, &input, &input_left, &output, &room_left);
}

}  // namespace velmora
