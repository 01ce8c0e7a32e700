// Decoder: a conversion that can be taken back.
#pragma once

#include <array>
#include <cstddef>

namespace velmora {

/// A converter of libiconv's in memory of our own, so that its state can be copied. In sets with
/// shift sequences libiconv takes in such a sequence even when the character after it is not
/// complete; for whoever gives it those bytes again that must not count.
class Decoder {
 public:
  Decoder(const char *to, const char *from) noexcept;
  // The converter is known to libiconv by its address.
  Decoder(const Decoder &) = delete;
  Decoder &operator=(const Decoder &) = delete;

  bool IsOpen() const noexcept { return is_open_; }

  /// As `Converter::Convert`.
  std::size_t Convert(const char *&input, std::size_t &input_left, char *&output,
                      std::size_t &room_left) noexcept;
  /// The same; when the input ends inside a character (EINVAL), the state is as it was before.
  std::size_t ConvertOrTakeBack(const char *&input, std::size_t &input_left, char *&output,
                                std::size_t &room_left) noexcept;
  /// The same for sets with shift sequences: one is converted alone, to nothing, and so is the
  /// character before one.
  std::size_t ConvertBetweenShifts(const char *&input, std::size_t &input_left, char *&output,
                                   std::size_t &room_left) noexcept;

 private:
  /// Converts what the fewest bytes are converted for; answers whether anything came out. Without
  /// that, and with all bytes left, there was nothing to convert.
  bool ConvertLeast(const char *&input, std::size_t &input_left, char *&output,
                    std::size_t &room_left) noexcept;

  /// Room for libiconv's `iconv_allocation_t`.
  struct alignas(64) State {
    std::array<std::byte, 232> memory;
  };

  State state_{};
  bool is_open_;
};

}  // namespace velmora
