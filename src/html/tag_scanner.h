// ScanTag: reads a whole tag at once, when it is a usual one.
//
// It looks and has no effect. A tag that holds anything unusual is not read at all, and the
// tokenizer's table reads it character by character from its "<" on; so what stands here need not
// know all that the table knows, only the tags that it does read must be read alike. Unusual is: a
// name of no or of more than 15 bytes, a "<" inside, a "\" in quotes, a quote inside a value
// without quotes, a byte beyond ASCII outside quotes, very many tokens, an end that is not there.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "html/tag_name.h"

namespace velmora {

/// What the bytes in quotes may be.
enum class QuotedBytes {
  /// Anything: no byte beyond ASCII can be the beginning of a character that an ASCII byte ends.
  ANY,
  /// Only ASCII, and neither "\" nor "~" anywhere: these are other characters in some sets.
  ASCII_ALONE,
};

struct ScannedTag {
  /// Names and values; "=" is a token of its own.
  struct Token {
    /// From the tag's "<".
    std::uint32_t begin;
    std::uint32_t size;
  };
  static constexpr std::size_t MOST_TOKENS = 96;

  /// Without the "/" of an end tag.
  TagName name;
  /// Known before the name is.
  std::uint32_t name_size = 0;
  bool is_end = false;
  /// Of the tag from its "<" to its ">".
  std::uint32_t size = 0;
  /// Some token outside quotes begins with "on".
  bool has_event_attribute = false;
  /// False for some that are, after `SkipTag`.
  bool is_ascii = true;
  std::uint32_t token_count = 0;
  std::array<Token, MOST_TOKENS> tokens;

  std::size_t NameEnd() const noexcept { return (is_end ? 2U : 1U) + name_size; }
};

/// Reads the name of the tag that begins at the front of `bytes`, where a "<" stands; false when it
/// is not a usual one. Only ASCII characters that stand for themselves may be at the front of a
/// character.
bool ScanTagName(std::span<const std::uint8_t> bytes, ScannedTag &tag) noexcept;

/// Reads the rest of the tag.
bool ScanTag(std::span<const std::uint8_t> bytes, QuotedBytes quoted, ScannedTag &tag) noexcept;

/// Instead of `ScanTag`, with nothing known of the tokens afterwards: finds the end of a tag whose
/// values all stand in double quotes, as most do. False for any other, of which `ScanTag` may still
/// make something, and, where that is asked for, for one that has an event attribute.
enum class EventAttributes { PASSED, SOUGHT };
bool SkipTag(std::span<const std::uint8_t> bytes, QuotedBytes quoted, EventAttributes events,
             ScannedTag &tag) noexcept;

}  // namespace velmora
