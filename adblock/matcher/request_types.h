// The names that lists, commands and hosts give to kinds of requests.
#pragma once

#include <cstdint>
#include <string_view>

#include "rule.h"

namespace velmora::adblock {

struct TypeName {
  std::string_view name;
  std::uint16_t type;
};

/// The usual name of each kind first, then others for it.
inline constexpr TypeName TYPE_NAMES[] = {
    {"script", TYPE_SCRIPT},
    {"image", TYPE_IMAGE},
    {"stylesheet", TYPE_STYLESHEET},
    {"font", TYPE_FONT},
    {"media", TYPE_MEDIA},
    {"object", TYPE_OBJECT},
    {"subdocument", TYPE_SUBDOCUMENT},
    {"xmlhttprequest", TYPE_XMLHTTPREQUEST},
    {"websocket", TYPE_WEBSOCKET},
    {"ping", TYPE_PING},
    {"popup", TYPE_POPUP},
    {"document", TYPE_DOCUMENT},
    {"other", TYPE_OTHER},
    {"css", TYPE_STYLESHEET},
    {"frame", TYPE_SUBDOCUMENT},
    {"xhr", TYPE_XMLHTTPREQUEST},
    {"beacon", TYPE_PING},
    {"doc", TYPE_DOCUMENT},
    {"object-subrequest", TYPE_OBJECT},
};

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
