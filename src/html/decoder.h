// Decoder: a conversion that can be taken back.
#pragma once

#include <array>
#include <cstddef>

namespace velmora {

/// A converter of libiconv's in memory of our own, so that its state can be copied. In sets with
/// shift sequences libiconv takes in such a sequence even when the character behind it is not
/// complete; whoever gives it those bytes again must put the state back first.
class Decoder {
 public:
  Decoder(const char *to, const char *from) noexcept;
  // The converter is known to libiconv by its address.
  Decoder(const Decoder &) = delete;
  Decoder &operator=(const Decoder &) = delete;

  bool IsOpen() const noexcept { return is_open_; }

  /// Room for libiconv's `iconv_allocation_t`.
  struct State {
    alignas(void *) std::array<std::byte, 232> memory;
  };
  State GetState() const noexcept { return state_; }
  void SetState(const State &state) noexcept { state_ = state; }

  /// As `Converter::Convert`.
  std::size_t Convert(const char *&input, std::size_t &input_left, char *&output,
                      std::size_t &room_left) noexcept;

 private:
  State state_{};
  bool is_open_;
};

}  // namespace velmora
