// CharsetShape: what can be said of a character set's bytes without asking libiconv each time.
//
// Markup is ASCII, and in nearly every set an ASCII byte stands for itself wherever it stands.
// Where that holds, a byte needs no conversion, and text can be searched for "<" as memory. What
// holds in a set is learnt from libiconv's own answers, once a process. That a decoder keeps
// nothing between characters cannot be learnt so: the sets are listed by name, and a test goes
// through all bytes.
//
// Not listed, so read one conversion a character: sets with shift sequences or a byte-order mark,
// decoders that compose letters, sets whose third or fourth bytes are ASCII.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "html/converter.h"
#include "html/decoded_char.h"

namespace velmora {

constexpr bool IsSurrogate(char16_t unit) noexcept {
  return (unit & 0xF800) == 0xD800;
}

class CharsetShape {
 public:
  enum class Kind : std::uint8_t {
    /// Nothing is known but which bytes are themselves.
    NONE,
    /// 00 to 2F, "<", "=" and ">" stand for themselves wherever they stand; other ASCII bytes may
    /// belong to a character that began before them. "\\" and "~" may be other characters.
    MARKUP_ALONE,
    /// So does every ASCII byte.
    ASCII_ALONE,
    /// Units of 16 bits.
    UNITS_LITTLE_ENDIAN,
    UNITS_BIG_ENDIAN,
  };

  /// The shape of the set that libiconv knows by `name`, one for all its aliases; null when nothing
  /// is known of it. Lives as long as the module; any thread may ask.
  static const CharsetShape *Of(const char *name) noexcept;

  Kind kind() const noexcept { return kind_; }
  bool IsWide() const noexcept { return kind_ >= Kind::UNITS_LITTLE_ENDIAN; }
  /// Every byte is a whole character or an invalid one.
  bool IsSingleByte() const noexcept { return is_single_byte_; }
  /// No character that began before this byte goes on with it.
  bool BeginsCharacter(std::uint8_t byte) const noexcept { return begins_[byte]; }
  /// How far the characters from `from` on, where one begins, can be passed over: a character
  /// begins there too (or the bytes end), and none that begins before it, nor the one after that,
  /// is cut off by the end of the bytes.
  /// It is sought from `tail` bytes before the end on, towards the front.
  std::size_t SafeEnd(std::span<const std::uint8_t> bytes, std::size_t from,
                      std::size_t tail) const noexcept;
  /// A character that begins with this byte is this ASCII character.
  bool IsItself(std::uint8_t byte) const noexcept { return is_itself_[byte]; }

  /// In a set of 16-bit units, the one at the front of `bytes`.
  char16_t Unit(const std::uint8_t *bytes) const noexcept {
    const bool is_big_endian = kind_ == Kind::UNITS_BIG_ENDIAN;
    return static_cast<char16_t>(bytes[is_big_endian ? 1 : 0] | bytes[is_big_endian ? 0 : 1] << 8);
  }

  /// What `CEncoding::DecodeChar` answers, if that is known: `is_known` says so. It depends on two
  /// characters, since libiconv looks at the next one too.
  struct Answer {
    DecodedChar decoded;
    bool is_known;
  };
  Answer Decode(std::span<const std::uint8_t> bytes) const noexcept {
    if (IsWide()) return DecodeUnit(bytes);
    return {{1, true, units_[bytes[0]]},
            is_whole_[bytes[0]] && (bytes.size() == 1 || is_whole_[bytes[1]])};
  }

 private:
  friend struct ListedShape;

  void Learn(const char *name) noexcept;
  void LearnBytes(const Converter &decoder) noexcept;
  void LearnUnits(const Converter &decoder, Kind kind) noexcept;

  Answer DecodeUnit(std::span<const std::uint8_t> bytes) const noexcept {
    if (bytes.size() != 2 && bytes.size() < 4) return {};
    const char16_t unit = Unit(bytes.data());
    const bool is_next_surrogate = bytes.size() != 2 && IsSurrogate(Unit(bytes.data() + 2));
    return {{2, true, unit}, unit < 0x80 && !is_next_surrogate};
  }

  Kind kind_ = Kind::NONE;
  bool is_single_byte_ = true;
  /// Bytes that are characters, and these characters.
  std::array<bool, 256> is_whole_{};
  std::array<char16_t, 256> units_{};
  std::array<bool, 256> is_itself_{};
  std::array<bool, 256> begins_{};
};

}  // namespace velmora
