#include "html/decoder.h"

#include <algorithm>
#include <cerrno>
#include <iconv.h>

#include "html/converter.h"

namespace velmora {
namespace {

/// No shift sequence, and no character with what of it has to be seen, is longer.
constexpr std::size_t MOST_OF_A_STEP = 8;

}  // namespace

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

std::size_t Decoder::ConvertBetweenShifts(const char *&input, std::size_t &input_left,
                                          char *&output, std::size_t &room_left) noexcept {
  const State before = state_;
  const char *const begin = input;
  const std::size_t size = input_left;
  char *const unit = output;
  const std::size_t room = room_left;
  const auto start_again = [&] {
    state_ = before;
    input = begin;
    input_left = size;
    output = unit;
    room_left = room;
  };

  const bool has_unit = ConvertLeast(input, input_left, output, room_left);
  if (!has_unit && input_left != size) return 0;
  const std::size_t behind_character = input_left;
  start_again();
  const std::size_t result = ConvertOrTakeBack(input, input_left, output, room_left);
  if (has_unit && result != CONVERSION_FAILED && input_left != behind_character) {
    start_again();
    ConvertLeast(input, input_left, output, room_left);
  }
  return result;
}

bool Decoder::ConvertLeast(const char *&input, std::size_t &input_left, char *&output,
                           std::size_t &room_left) noexcept {
  const State before = state_;
  const std::size_t room = room_left;
  for (std::size_t given = 1; given <= std::min(input_left, MOST_OF_A_STEP); ++given) {
    std::size_t given_left = given;
    Convert(input, given_left, output, room_left);
    if (given_left != given) {
      input_left -= given - given_left;
      return room_left != room;
    }
    state_ = before;
  }
  return false;
}

}  // namespace velmora
