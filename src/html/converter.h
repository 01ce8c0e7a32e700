// Converter: one direction of a character set's conversion, GNU libiconv's; and the process-wide
// one from 16-bit units to UTF-8.
#pragma once

#include <cstddef>

namespace velmora {

class Converter {
 public:
  /// Opens the conversion between two sets by libiconv's names; not open when it knows none.
  Converter(const char *to, const char *from) noexcept;
  Converter(const Converter &) = delete;
  Converter &operator=(const Converter &) = delete;
  ~Converter() { Close(); }

  bool IsOpen() const noexcept { return handle_ != nullptr; }
  /// False when libiconv reports a failure. Closing twice does nothing.
  bool Close() noexcept;

  /// libiconv's conversion step: moves all four along; its result, and `errno` when that is -1.
  std::size_t Convert(const char *&input, std::size_t &input_left, char *&output,
                      std::size_t &room_left) const noexcept;

 private:
  void *handle_;
};

/// `Converter::Convert`'s result for a failure.
inline constexpr std::size_t CONVERSION_FAILED = static_cast<std::size_t>(-1);

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
