// Markup: HTML that is written piece by piece. Only literals of this program's own source are taken
// as they are; every other text is escaped, so that what came in from the web never becomes markup.
//
//   Markup html;
//   html << "<p>" << event.url << "</p>";
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

namespace velmora::web {

/// A text known when the program is compiled.
class Literal {
 public:
  template <std::size_t SIZE>
  // NOLINTNEXTLINE(google-explicit-constructor)
  consteval Literal(const char (&text)[SIZE]) noexcept : text_(text, SIZE - 1) {}

  std::string_view Text() const noexcept { return text_; }

 private:
  std::string_view text_;
};

class Markup {
 public:
  Markup &operator<<(Literal markup) {
    html_ += markup.Text();
    return *this;
  }
  Markup &operator<<(const Markup &markup) {
    html_ += markup.html_;
    return *this;
  }
  /// A text, for the inside of an element or of a quoted attribute. What would not be seen, or
  /// would turn the order of what is seen around, stands there as \xNN.
  template <class Text>
  requires std::same_as<Text, std::string> || std::same_as<Text, std::string_view> Markup &
  operator<<(const Text &text) {
    Escape(text);
    return *this;
  }
  template <std::integral Number>
  requires(!std::same_as<Number, char> && !std::same_as<Number, bool>) Markup &operator<<(
      Number number) {
    html_ += std::to_string(number);
    return *this;
  }

  const std::string &Html() const noexcept { return html_; }
  bool IsEmpty() const noexcept { return html_.empty(); }

 private:
  void Escape(std::string_view text);

  std::string html_;
};

/// A text as a value in the query of a URL.
std::string ForQuery(std::string_view text);

}  // namespace velmora::web
