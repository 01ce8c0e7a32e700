#include "filter/event_attribute_names.h"

#include <algorithm>
#include <iterator>

namespace velmora {
namespace {

/// All of them begin with "on" and have something after it.
constexpr std::string_view PREFIX = "on";

/// Sorted.
constexpr std::string_view NAMES[] = {
    "onabort",
    "onafterupdate",
    "onbeforeunload",
    "onbeforeupdate",
    "onblur",
    "onbounce",
    "onchange",
    "onclick",
    "ondataavailable",
    "ondatasetchanged",
    "ondatasetcomplete",
    "ondblclick",
    "ondragdrop",
    "ondragstart",
    "onerror",
    "onerrorupdate",
    "onfilterchange",
    "onfinish",
    "onfocus",
    "onhelp",
    "onkeydown",
    "onkeypress",
    "onkeyup",
    "onload",
    "onmousedown",
    "onmousemove",
    "onmouseout",
    "onmouseover",
    "onmouseup",
    "onmove",
    "onreadystatechange",
    "onreset",
    "onresize",
    "onrowenter",
    "onrowexit",
    "onscroll",
    "onselect",
    "onselectstart",
    "onstart",
    "onsubmit",
    "onunload",
};
static_assert(std::size(NAMES) == 41);
static_assert(std::is_sorted(std::begin(NAMES), std::end(NAMES)));

}  // namespace

bool EventAttributeNames::IsEventAttribute(std::string_view name) const noexcept {
  return name.size() > PREFIX.size() && name.starts_with(PREFIX) &&
         std::binary_search(std::begin(NAMES), std::end(NAMES), name);
}

}  // namespace velmora
