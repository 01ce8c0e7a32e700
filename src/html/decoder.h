// Decoder: a conversion that can be taken back.
#pragma once

#include <cstddef>
#include <iconv.h>
#include <optional>

namespace velmora {

/// A converter of libiconv's in memory of our own, so that its state can be copied. In sets with
/// shift sequences libiconv takes in such a sequence even when the character behind it is not
/// complete; whoever gives it those bytes again must put the state back first.
class Decoder {
 public:
  Decoder(const char *to, const char *from) noexcept
      : is_open_(libiconv_open_into(to, from, &state_) == 0) {}
  // The converter is known to libiconv by its address.
  Decoder(const Decoder &) = delete;
  Decoder &operator=(const Decoder &) = delete;

  bool IsOpen() const noexcept { return is_open_; }

  using State = iconv_allocation_t;
  State GetState() const noexcept { return state_; }
  void SetState(const State &state) noexcept { state_ = state; }

  /// As `Converter::Convert`.
  std::size_t Convert(const char *&input, std::size_t &input_left, char *&output,
                      std::size_t &room_left) noexcept {
    return libiconv(&state_, &input, &input_left, &output, &room_left);
  }

 private:
  State state_;
  bool is_open_;
};

}  // namespace velmora
