// What all pages have in common: the frame around them, and the parts that they are put together
// from.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "command/answers/sheet.h"
#include "web/markup.h"
#include "web/request.h"
#include "web/site.h"

namespace velmora::web {

/// A whole page.
Response Page(const Visit &visit, std::string_view title, const Markup &content, int status = 200);

/// A page for a file, which needs nothing beside itself.
std::string PageAlone(std::string_view title, const Markup &content);

/// A form that changes something, with its session's word.
Markup Form(const Visit &visit, Literal path, const Markup &content);
/// A field that is not seen.
Markup Hidden(Literal name, std::string_view value);
/// A button that sends a form of its own. `label` may be markup.
Markup Button(const Visit &visit, Literal path, const Markup &fields, Literal label);

/// Names and values.
Markup Values(const command::Sheet &sheet);
/// "1,234,567"
std::string Number(std::uint64_t number);
/// "12.3 MB"; may be below zero.
std::string Bytes(std::int64_t bytes);
/// In local time: "12:34:56" today, else with the date.
std::string TimeOfDay(std::chrono::system_clock::time_point time);
/// A moment as an element that programs can read.
Markup Moment(std::chrono::system_clock::time_point time);

}  // namespace velmora::web
