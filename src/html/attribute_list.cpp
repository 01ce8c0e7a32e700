#include "html/attribute_list.h"

#include <algorithm>
#include <cstring>

#include "base/ascii.h"
#include "html/packed_number.h"
#include "platform/character_classes.h"

namespace velmora {
namespace {

constexpr std::uint64_t IS_VALUE = 1;
constexpr std::uint64_t HAS_SIZE = 2;
constexpr std::uint64_t IS_REPEATED = 4;
constexpr unsigned FLAG_BITS = 3;

/// Shorter texts are as soon written as looked for.
constexpr std::size_t SHORTEST_KEPT = 16;

/// A distance, which may be negative after odd edits, with its sign in the lowest bit.
std::uint64_t PackDistance(std::uint32_t from, std::uint32_t to) noexcept {
  const std::uint32_t distance = to - from;
  const bool is_negative = static_cast<std::int32_t>(distance) < 0;
  return std::uint64_t{(is_negative ? ~distance : distance) & 0x7FFFFFFFU} << 1U |
         (is_negative ? 1U : 0U);
}

std::uint32_t UnpackDistance(std::uint32_t from, std::uint64_t packed) noexcept {
  const auto distance = static_cast<std::uint32_t>(packed >> 1U);
  return from + ((packed & 1U) != 0 ? ~distance : distance);
}

constexpr auto CopyBytes = [](std::string_view text, char *to) {
  return std::copy(text.begin(), text.end(), to);
};
constexpr auto CopyInLowerCase = [](std::string_view text, char *to) {
  return std::transform(text.begin(), text.end(), to, platform::ToLowerAscii);
};

}  // namespace

void AttributeWriter::Clear() noexcept {
  size_ = 0;
  kept_ = {};
  end_ = 0;
  expected_ = Expected::NAME;
}

void AttributeWriter::AppendToken(std::string_view text, std::uint32_t start,
                                  std::uint32_t length) {
  if (expected_ == Expected::NAME_OR_EQUALS && text == "=") {
    expected_ = Expected::VALUE;
  } else if (expected_ == Expected::VALUE) {
    AppendPart(true, text, start, length, CopyBytes);
    expected_ = Expected::NAME;
  } else {
    AppendPart(false, text, start, length, CopyInLowerCase);
    expected_ = Expected::NAME_OR_EQUALS;
  }
}

void AttributeWriter::Append(const CHTMLAttribute &attribute) {
  AppendPart(false, attribute.name, attribute.name_start, attribute.name_length, CopyBytes);
  if (attribute.HasValue()) {
    AppendPart(true, attribute.value, attribute.value_start, attribute.value_length, CopyBytes);
  }
}

template <class CopyText>
void AttributeWriter::AppendPart(bool is_value, std::string_view text, std::uint32_t start,
                                 std::uint32_t length, CopyText copy_text) {
  const bool has_size = text.size() != length;
  const bool may_repeat = is_value && text.size() >= SHORTEST_KEPT;
  const Kept *const kept = may_repeat ? FindKept(text) : nullptr;
  char *const begin = RoomFor(3 * MOST_PACKED + text.size());
  char *to = WritePacked(begin, PackDistance(end_, start) << FLAG_BITS | (is_value ? IS_VALUE : 0) |
                                    (has_size ? HAS_SIZE : 0) | (kept ? IS_REPEATED : 0));
  to = WritePacked(to, length);
  if (has_size) to = WritePacked(to, text.size());
  const std::size_t here = size_ + static_cast<std::size_t>(to - begin);
  if (kept != nullptr) {
    to = WritePacked(to, here - kept->begin);
  } else {
    if (may_repeat) kept_[next_kept_++ % kept_.size()] = {here, text.size()};
    to = copy_text(text, to);
  }
  size_ += static_cast<std::size_t>(to - begin);
  end_ = start + length;
}

const AttributeWriter::Kept *AttributeWriter::FindKept(std::string_view text) const noexcept {
  const auto found = std::ranges::find_if(kept_, [&](const Kept &kept) {
    return kept.size == text.size() &&
           std::memcmp(room_.data() + kept.begin, text.data(), text.size()) == 0;
  });
  return found == kept_.end() ? nullptr : &*found;
}

/// The end of what was written, and so many bytes more behind it.
char *AttributeWriter::RoomFor(std::size_t more) {
  if (room_.size() - size_ < more) room_.resize(2 * (size_ + more));
  return room_.data() + size_;
}

bool AttributeReader::Next(CHTMLAttribute &attribute) noexcept {
  if (rest_.empty()) return false;
  attribute = {};
  const Part name = ReadPart();
  attribute.name = name.text;
  attribute.name_start = name.start;
  attribute.name_length = name.length;
  if (!IsAtValue()) return true;
  const Part value = ReadPart();
  attribute.value = value.text;
  attribute.value_start = value.start;
  attribute.value_length = value.length;
  return true;
}

std::optional<std::string_view> AttributeReader::FindValue(std::string_view name) noexcept {
  while (!rest_.empty()) {
    const bool is_sought = base::EqualNoCase(ReadPart().text, name);
    const std::string_view value = IsAtValue() ? ReadPart().text : std::string_view();
    if (is_sought) return value;
  }
  return std::nullopt;
}

bool AttributeReader::IsAtValue() const noexcept {
  return !rest_.empty() && (static_cast<unsigned char>(rest_.front()) & IS_VALUE) != 0;
}

AttributeReader::Part AttributeReader::ReadPart() noexcept {
  // What is read from stays in registers.
  std::string_view rest = rest_;
  const std::uint64_t place = TakePacked(rest);
  const std::uint32_t start = UnpackDistance(end_, place >> FLAG_BITS);
  const auto length = static_cast<std::uint32_t>(TakePacked(rest));
  const std::uint64_t size = (place & HAS_SIZE) != 0 ? TakePacked(rest) : length;
  end_ = start + length;
  if ((place & IS_REPEATED) != 0) {
    rest_ = rest;
    return {ReadRepeated(size), start, length};
  }
  rest_ = rest.substr(size);
  return {rest.substr(0, size), start, length};
}

std::string_view AttributeReader::ReadRepeated(std::size_t size) noexcept {
  const std::size_t here = bytes_.size() - rest_.size();
  return bytes_.substr(here - TakePacked(rest_), size);
}

}  // namespace velmora
