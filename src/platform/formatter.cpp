#include "platform/formatter.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "platform/character_classes.h"

namespace velmora::platform {
namespace {

constexpr std::size_t NO_PRECISION = std::numeric_limits<std::size_t>::max();

/// What stands between a "%" and the letter of its conversion.
struct Field {
  bool left_aligned = false;
  bool zero_padded = false;
  std::size_t width = 0;
  std::size_t precision = NO_PRECISION;
};

/// Widths and precisions are held here, far beyond the output's limit, so that none overflows.
constexpr std::size_t NUMBER_LIMIT = 1'000'000;

std::size_t ReadNumber(const char *&format) noexcept {
  std::size_t number = 0;
  for (; IsDigitAscii(*format); ++format) {
    number = std::min(number * 10 + static_cast<std::size_t>(*format - '0'), NUMBER_LIMIT);
  }
  return number;
}

Field ReadField(const char *&format) noexcept {
  Field field;
  for (; *format == '-' || *format == '0'; ++format) {
    (*format == '-' ? field.left_aligned : field.zero_padded) = true;
  }
  field.width = ReadNumber(format);
  if (*format == '.') {
    ++format;
    field.precision = ReadNumber(format);
  }
  return field;
}

/// The bounded output.
class Writer {
 public:
  explicit Writer(char *output) noexcept : begin_(output), next_(output) {}

  void Write(std::string_view text) noexcept {
    next_ = std::copy_n(text.data(), std::min(text.size(), Room()), next_);
  }
  void Fill(char c, std::size_t count) noexcept {
    next_ = std::fill_n(next_, std::min(count, Room()), c);
  }
  void WriteText(const Field &field, std::string_view text) noexcept {
    const std::size_t padding = field.width - std::min(field.width, text.size());
    if (!field.left_aligned) Fill(' ', padding);
    Write(text);
    if (field.left_aligned) Fill(' ', padding);
  }
  /// Precision is a least number of digits; zero padding yields to it and to left alignment.
  void WriteNumber(const Field &field, std::string_view sign, std::string_view digits) noexcept {
    const std::size_t length = sign.size() + digits.size();
    std::size_t zeros = 0;
    if (field.precision != NO_PRECISION) {
      zeros = field.precision - std::min(field.precision, digits.size());
    } else if (field.zero_padded && !field.left_aligned) {
      zeros = field.width - std::min(field.width, length);
    }
    const std::size_t padding = field.width - std::min(field.width, length + zeros);
    if (!field.left_aligned) Fill(' ', padding);
    Write(sign);
    Fill('0', zeros);
    Write(digits);
    if (field.left_aligned) Fill(' ', padding);
  }
  std::size_t Finish() noexcept {
    *next_ = '\0';
    return static_cast<std::size_t>(next_ - begin_);
  }

 private:
  std::size_t Room() const noexcept {
    return FORMAT_LIMIT - static_cast<std::size_t>(next_ - begin_);
  }

  char *const begin_;
  char *next_;
};

/// The digits of a number, in a buffer of its own.
class Digits {
 public:
  Digits(std::uint32_t value, int base, bool upper_case = false) noexcept
      : end_(std::to_chars(text_, text_ + sizeof text_, value, base).ptr) {
    if (upper_case) std::transform(text_, end_, text_, ToUpperAscii);
  }
  std::string_view text() const noexcept { return {text_, static_cast<std::size_t>(end_ - text_)}; }

 private:
  char text_[10];
  char *end_;
};

}  // namespace

std::size_t Format(char *output, const char *format, std::va_list arguments) noexcept {
  Writer writer(output);
  for (;;) {
    const std::size_t plain = std::strcspn(format, "%");
    writer.Write({format, plain});
    format += plain;
    if (*format == '\0') return writer.Finish();

    const char *const conversion = format++;
    const Field field = ReadField(format);
    switch (*format) {
      case 'd': {
        const int value = va_arg(arguments, int);
        const auto bits = static_cast<std::uint32_t>(value);
        const std::uint32_t magnitude = value < 0 ? 0 - bits : bits;
        writer.WriteNumber(field, value < 0 ? "-" : "", Digits(magnitude, 10).text());
        break;
      }
      case 'u':
        writer.WriteNumber(field, "", Digits(va_arg(arguments, unsigned), 10).text());
        break;
      case 'x':
        writer.WriteNumber(field, "", Digits(va_arg(arguments, unsigned), 16).text());
        break;
      case 'X':
        writer.WriteNumber(field, "", Digits(va_arg(arguments, unsigned), 16, true).text());
        break;
      case 'c': {
        const char c = static_cast<char>(va_arg(arguments, int));
        writer.WriteText(field, {&c, c == '\0' ? 0U : 1U});
        break;
      }
      case 's': {
        const char *text = va_arg(arguments, const char *);
        if (text == nullptr) text = "(null)";
        writer.WriteText(field, {text, ::strnlen(text, field.precision)});
        break;
      }
      case '%':
        writer.Write("%");
        break;
      default:  // no conversion: the text stands for itself
        writer.Write({conversion, static_cast<std::size_t>(format - conversion)});
        continue;
    }
    ++format;
  }
}

}  // namespace velmora::platform
