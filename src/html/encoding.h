// CEncoding: the converter between a page's bytes and the two internal forms of text.
//
// Single characters are 16-bit code units in "UCS-2LE"; text that is kept or written is "UTF-8".
// All conversion is GNU libiconv's, whose names for character sets are used.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "html/charset_shape.h"
#include "html/converter.h"
#include "html/decoded_char.h"
#include "html/decoder.h"

namespace velmora {

/// A converter for one character set.
class CEncoding {
 public:
  /// Opens both directions, the way back of a set with a shape only when it is asked for: few pages
  /// are edited. A set that libiconv does not know leaves the object invalid.
  explicit CEncoding(std::string_view name);
  CEncoding(const CEncoding &) = delete;
  CEncoding &operator=(const CEncoding &) = delete;
  ~CEncoding();

  /// True only when both directions could be opened.
  bool IsValid() const noexcept;
  /// The name exactly as given to the constructor.
  const std::string &GetName() const noexcept { return name_; }
  /// What is known of the set; null when that is nothing, or the fast paths are off.
  const CharsetShape *shape() const noexcept { return shape_; }

  /// Decodes the character at the front of `bytes`, which are all that is at hand.
  DecodedChar DecodeChar(std::span<const std::uint8_t> bytes) noexcept {
    if (shape_ != nullptr && !bytes.empty()) {
      if (const CharsetShape::Answer answer = shape_->Decode(bytes); answer.is_known) {
        return answer.decoded;
      }
    }
    return Convert(bytes);
  }

  /// The UTF-8 text in this character set; cut off where it does not convert. Empty when the
  /// encoder is invalid. Throws `std::bad_alloc`.
  std::string Encode(std::string_view text);

 private:
  bool IsTraced() const noexcept;
  void OpenEncoder() noexcept { encoder_.emplace(name_.c_str(), "UTF-8"); }
  /// `DecodeChar`, by libiconv.
  DecodedChar Convert(std::span<const std::uint8_t> bytes) noexcept;

  std::string name_;
  Decoder decoder_;
  /// What the decoder may keep of what it has taken in between calls.
  enum class Memory { NOTHING, ANYTHING, SHIFTS };
  static Memory MemoryOf(const std::string &name) noexcept;
  const Memory memory_;
  const CharsetShape *const shape_;
  /// None: not opened yet.
  std::optional<Converter> encoder_;
};

}  // namespace velmora
