// What is the same for everybody.
#include <string>

#include "web/pages/pages.h"
#include "web/style.h"

namespace velmora::web {
namespace {

constexpr char ICON[] =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 24 24\">"
    "<path fill=\"#0b6bcb\" d=\"M12 2 4 5v6c0 5 3.4 9.4 8 11 4.6-1.6 8-6 8-11V5z\"/>"
    "<path fill=\"none\" stroke=\"#fff\" stroke-width=\"2.2\" stroke-linecap=\"round\" "
    "stroke-linejoin=\"round\" d=\"m8 12 3 3 5-6\"/></svg>";

Response Lasting(std::string type, std::string_view body) {
  return {.type = std::move(type),
          .body = std::string(body),
          .headers = {{"Cache-Control", "max-age=3600"}}};
}

}  // namespace

Response StyleSheet(const Visit & /*visit*/) {
  return Lasting("text/css; charset=utf-8", STYLE);
}

Response Icon(const Visit & /*visit*/) {
  return Lasting("image/svg+xml", ICON);
}

}  // namespace velmora::web
