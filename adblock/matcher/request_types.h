// The names that lists, commands and hosts give to kinds of requests.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vexlar/requests.h>

#include "rule.h"

namespace velmora::adblock {

struct TypeName {
  std::string_view name;
  std::uint16_t type;
};

/// Other names than the usual ones.
inline constexpr TypeName MORE_TYPE_NAMES[] = {
    {"css", TYPE_STYLESHEET}, {"frame", TYPE_SUBDOCUMENT}, {"xhr", TYPE_XMLHTTPREQUEST},
    {"beacon", TYPE_PING},    {"doc", TYPE_DOCUMENT},      {"object-subrequest", TYPE_OBJECT},
};

/// The usual name of each kind first, then others for it.
inline constexpr auto TYPE_NAMES = [] {
  std::array<TypeName, std::size(VEXLAR_TYPE_NAMES) + std::size(MORE_TYPE_NAMES)> names{};
  TypeName *next = names.data();
  for (const VexlarTypeName &usual : VEXLAR_TYPE_NAMES) {
    *next++ = {usual.name, static_cast<std::uint16_t>(usual.type)};
  }
  for (const TypeName &more : MORE_TYPE_NAMES) *next++ = more;
  return names;
}();

/// 0 for a name that is none.
constexpr std::uint16_t TypeOfName(std::string_view name) noexcept {
  for (const TypeName &entry : TYPE_NAMES) {
    if (entry.name == name) return entry.type;
  }
  return 0;
}

/// By the name of a method in capitals or in small letters; 0 for one that rules cannot name.
std::uint16_t MethodOfName(std::string_view name) noexcept;

}  // namespace velmora::adblock
