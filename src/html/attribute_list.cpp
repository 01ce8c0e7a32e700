#include "html/attribute_list.h"

#include <algorithm>

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

}  // namespace

void AttributeWriter::Clear() noexcept {
  bytes_.clear();
  kept_ = {};
  end_ = 0;
  expected_ = Expected::NAME;
}

void AttributeWriter::AppendToken(std::string_view text, std::uint32_t start,
                                  std::uint32_t length) {
  if (expected_ == Expected::NAME_OR_EQUALS && text == "=") {
    expected_ = Expected::VALUE;
    return;
  }
  const bool is_value = expected_ == Expected::VALUE;
  AppendPart(is_value, text, start, length);
  if (!is_value) {
    std::transform(bytes_.end() - static_cast<std::ptrdiff_t>(text.size()), bytes_.end(),
                   bytes_.end() - static_cast<std::ptrdiff_t>(text.size()), platform::ToLowerAscii);
  }
  expected_ = is_value ? Expected::NAME : Expected::NAME_OR_EQUALS;
}

void AttributeWriter::Append(const CHTMLAttribute &attribute) {
  AppendPart(false, attribute.name, attribute.name_start, attribute.name_length);
  if (attribute.HasValue()) {
    AppendPart(true, attribute.value, attribute.value_start, attribute.value_length);
  }
}

void AttributeWriter::AppendPart(bool is_value, std::string_view text, std::uint32_t start,
                                 std::uint32_t length) {
  const bool has_size = text.size() != length;
  const bool may_repeat = is_value && text.size() >= SHORTEST_KEPT;
  const Kept *const kept = may_repeat ? FindKept(text) : nullptr;
  char head[3 * MOST_PACKED];
  char *head_end =
      WritePacked(head, PackDistance(end_, start) << FLAG_BITS | (is_value ? IS_VALUE : 0) |
                            (has_size ? HAS_SIZE : 0) | (kept != nullptr ? IS_REPEATED : 0));
  head_end = WritePacked(head_end, length);
  if (has_size) head_end = WritePacked(head_end, text.size());
  bytes_.append(head, head_end);
  if (kept != nullptr) {
    AppendPacked(bytes_, bytes_.size() - kept->begin);
  } else {
    bytes_.append(text);
    if (may_repeat) Keep(text.size());
  }
  end_ = start + length;
}

const AttributeWriter::Kept *AttributeWriter::FindKept(std::string_view text) const noexcept {
  const auto found = std::ranges::find_if(kept_, [&](const Kept &kept) {
    return kept.size == text.size() &&
           std::string_view(bytes_).substr(kept.begin, kept.size) == text;
  });
  return found == kept_.end() ? nullptr : &*found;
}

void AttributeWriter::Keep(std::size_t size) noexcept {
  kept_[next_kept_++ % kept_.size()] = {bytes_.size() - size, size};
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

bool AttributeReader::IsAtValue() const noexcept {
  return !rest_.empty() && (static_cast<unsigned char>(rest_.front()) & IS_VALUE) != 0;
}

AttributeReader::Part AttributeReader::ReadPart() noexcept {
  const std::uint64_t place = TakePacked(rest_);
  const std::uint32_t start = UnpackDistance(end_, place >> FLAG_BITS);
  const auto length = static_cast<std::uint32_t>(TakePacked(rest_));
  const std::uint64_t size = (place & HAS_SIZE) != 0 ? TakePacked(rest_) : length;
  end_ = start + length;
  if ((place & IS_REPEATED) != 0) return {ReadRepeated(size), start, length};
  const Part part{rest_.substr(0, size), start, length};
  rest_.remove_prefix(size);
  return part;
}

std::string_view AttributeReader::ReadRepeated(std::size_t size) noexcept {
  const std::size_t here = bytes_.size() - rest_.size();
  return bytes_.substr(here - TakePacked(rest_), size);
}

}  // namespace velmora
