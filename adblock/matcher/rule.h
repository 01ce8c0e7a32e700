// A rule as it is read from a line of a list, before it is compiled.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>
#include <vexlar/requests.h>

namespace velmora::adblock {

// Kinds of requests, as bits: what a rule is for and what a question is about.
inline constexpr std::uint16_t TYPE_SCRIPT = VEXLAR_TYPE_SCRIPT;
inline constexpr std::uint16_t TYPE_IMAGE = VEXLAR_TYPE_IMAGE;
inline constexpr std::uint16_t TYPE_STYLESHEET = VEXLAR_TYPE_STYLESHEET;
inline constexpr std::uint16_t TYPE_FONT = VEXLAR_TYPE_FONT;
inline constexpr std::uint16_t TYPE_MEDIA = VEXLAR_TYPE_MEDIA;
inline constexpr std::uint16_t TYPE_OBJECT = VEXLAR_TYPE_OBJECT;
inline constexpr std::uint16_t TYPE_SUBDOCUMENT = VEXLAR_TYPE_SUBDOCUMENT;
inline constexpr std::uint16_t TYPE_XMLHTTPREQUEST = VEXLAR_TYPE_XMLHTTPREQUEST;
inline constexpr std::uint16_t TYPE_WEBSOCKET = VEXLAR_TYPE_WEBSOCKET;
inline constexpr std::uint16_t TYPE_PING = VEXLAR_TYPE_PING;
inline constexpr std::uint16_t TYPE_POPUP = VEXLAR_TYPE_POPUP;
inline constexpr std::uint16_t TYPE_DOCUMENT = VEXLAR_TYPE_DOCUMENT;
inline constexpr std::uint16_t TYPE_OTHER = VEXLAR_TYPE_OTHER;
/// What a page loads: a rule that names no type is for these.
inline constexpr std::uint16_t TYPES_LOADED =
    TYPE_SCRIPT | TYPE_IMAGE | TYPE_STYLESHEET | TYPE_FONT | TYPE_MEDIA | TYPE_OBJECT |
    TYPE_SUBDOCUMENT | TYPE_XMLHTTPREQUEST | TYPE_WEBSOCKET | TYPE_PING | TYPE_OTHER;
/// What an element of a page may load, where nobody tells which.
inline constexpr std::uint16_t TYPES_ELEMENT =
    TYPE_SCRIPT | TYPE_IMAGE | TYPE_MEDIA | TYPE_OBJECT | TYPE_SUBDOCUMENT | TYPE_OTHER;

// Methods of requests, as bits.
inline constexpr std::uint16_t METHOD_CONNECT = 1U << 0;
inline constexpr std::uint16_t METHOD_DELETE = 1U << 1;
inline constexpr std::uint16_t METHOD_GET = 1U << 2;
inline constexpr std::uint16_t METHOD_HEAD = 1U << 3;
inline constexpr std::uint16_t METHOD_OPTIONS = 1U << 4;
inline constexpr std::uint16_t METHOD_PATCH = 1U << 5;
inline constexpr std::uint16_t METHOD_POST = 1U << 6;
inline constexpr std::uint16_t METHOD_PUT = 1U << 7;
inline constexpr std::uint16_t METHODS_ALL = (1U << 8) - 1;

// What a rule does and where it applies.
inline constexpr std::uint16_t RULE_ALLOW = 1U << 0;
inline constexpr std::uint16_t RULE_IMPORTANT = 1U << 1;
/// Only on pages of another (or of the same) registrable domain. Both: no condition.
inline constexpr std::uint16_t RULE_THIRD_PARTY = 1U << 2;
inline constexpr std::uint16_t RULE_FIRST_PARTY = 1U << 3;

// How its pattern is read.
inline constexpr std::uint16_t RULE_MATCH_CASE = 1U << 4;
/// "||": begins at the URL's host or after one of the host's dots.
inline constexpr std::uint16_t RULE_HOST_ANCHOR = 1U << 5;
inline constexpr std::uint16_t RULE_START_ANCHOR = 1U << 6;
inline constexpr std::uint16_t RULE_END_ANCHOR = 1U << 7;
/// The pattern is a regular expression.
inline constexpr std::uint16_t RULE_EXPRESSION = 1U << 8;
/// Takes the rule that is the same but for this flag out of force.
inline constexpr std::uint16_t RULE_BAD_FILTER = 1U << 9;

/// One name of a `domain=` list: the domain and all below it.
struct DomainName {
  std::string_view name;
  bool excluded;
  /// "name.*": the name under any public suffix.
  bool any_suffix;

  friend auto operator<=>(const DomainName &, const DomainName &) = default;
};

/// The strings belong to the list's text or to the `StringArena` that the parser was given.
struct Rule {
  std::string_view text;
  std::string_view pattern;
  /// What would be put in the place of what is blocked: tells rules apart, nothing else.
  std::string_view replacement;
  std::uint16_t flags = 0;
  std::uint16_t types = TYPES_LOADED;
  /// 0: any.
  std::uint16_t methods = 0;
  /// Conditions on the page's host and on the URL's, in the order of the names, each once.
  std::vector<DomainName> page_domains;
  std::vector<DomainName> url_domains;
};

/// Of two rules that match, the one of higher rank decides: allowing rules over blocking ones,
/// important rules over others.
constexpr unsigned RankOf(std::uint16_t flags) noexcept {
  return 1U + ((flags & RULE_ALLOW) ? 1U : 0U) + ((flags & RULE_IMPORTANT) ? 2U : 0U);
}

}  // namespace velmora::adblock
