// CharacterSource: where the tokenizer's characters come from.
//
// Everything above this seam is the same whichever source runs: positions, trace lines and edits.
#pragma once

#include <cstdint>
#include <span>

#include "html/encoding.h"
#include "html/text_place.h"
#include "html/tokenizer_state.h"

namespace velmora {

class CharacterSource {
 public:
  virtual ~CharacterSource() = default;

  /// May pass over characters at the front of `bytes` that `passed_over` covers: advances `place`
  /// for each and returns how many bytes they are.
  virtual std::uint32_t PassOver(CEncoding &encoding, std::span<const std::uint8_t> bytes,
                                 PassedOver passed_over, TextPlace &place) = 0;
  /// Decodes the character at the front of `bytes`.
  virtual DecodedChar Decode(CEncoding &encoding, std::span<const std::uint8_t> bytes) = 0;
};

/// One conversion for each character.
class PlainCharacterSource final : public CharacterSource {
 public:
  std::uint32_t PassOver(CEncoding &, std::span<const std::uint8_t>, PassedOver,
                         TextPlace &) override {
    return 0;
  }
  DecodedChar Decode(CEncoding &encoding, std::span<const std::uint8_t> bytes) override {
    return encoding.DecodeChar(bytes);
  }
};

}  // namespace velmora
