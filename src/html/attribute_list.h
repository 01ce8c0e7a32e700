// The attributes of a start tag, packed into one string of bytes.
//
// A tag may have any number of attributes, and an element is kept with all of them until its end
// tag, so that what an attribute takes counts. One attribute follows the other: its name, and its
// value if it has one. Each of the two is
//
//   place   from the end of the one before (the tag's "<" at first) to its start in the page; below
//           that a bit that says that it is a value, one that says that a size follows, and one
//           that says that the text is repeated
//   length  of what it takes in the page
//   size    of its text, only where it differs from the length
//   text    or, where it is repeated, how many bytes before this place it stands
//
// A handler may give many attributes one long value, which is kept once.
//
// where the numbers are seven bits to a byte, the lowest first, and places have their sign lowest.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "html/attribute.h"

namespace velmora {

class AttributeWriter {
 public:
  void Clear() noexcept;

  /// Takes the next token of a tag after its name: a name, "=", or a value with its quotes. Each
  /// token begins an attribute, and is followed by its value when "=" and one more token come
  /// after it. `start` is relative to the tag's "<".
  void AppendToken(std::string_view text, std::uint32_t start, std::uint32_t length);
  void Append(const CHTMLAttribute &attribute);

  /// What was written; good until the next change.
  std::string_view bytes() const noexcept { return {room_.data(), size_}; }

 private:
  enum class Expected { NAME, NAME_OR_EQUALS, VALUE };

  /// A text that stands in the bytes.
  struct Kept {
    std::size_t begin = 0;
    std::size_t size = 0;
  };

  template <class CopyText>
  void AppendPart(bool is_value, std::string_view text, std::uint32_t start, std::uint32_t length,
                  CopyText copy_text);
  const Kept *FindKept(std::string_view text) const noexcept;
  char *RoomFor(std::size_t more);

  /// What was written, and room for more: a string would be asked anew for each few bytes.
  std::vector<char> room_;
  std::size_t size_ = 0;
  /// The last long values, each in the place of the one that was kept longest.
  std::array<Kept, 4> kept_{};
  std::size_t next_kept_ = 0;
  /// Where the last part ends in the page.
  std::uint32_t end_ = 0;
  Expected expected_ = Expected::NAME;
};

/// Gives the attributes one after the other.
class AttributeReader {
 public:
  /// `bytes` are an `AttributeWriter`'s, and outlive what is read.
  explicit AttributeReader(std::string_view bytes) noexcept : bytes_(bytes), rest_(bytes) {}

  /// False when there are no more.
  bool Next(CHTMLAttribute &attribute) noexcept;
  /// The value of the next attribute of that name, in any letter case, if there is one.
  std::optional<std::string_view> FindValue(std::string_view name) noexcept;

 private:
  struct Part {
    std::string_view text;
    std::uint32_t start;
    std::uint32_t length;
  };

  bool IsAtValue() const noexcept;
  Part ReadPart() noexcept;
  std::string_view ReadRepeated(std::size_t size) noexcept;

  const std::string_view bytes_;
  std::string_view rest_;
  std::uint32_t end_ = 0;
};

}  // namespace velmora
