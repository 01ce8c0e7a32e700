#include "platform/clock.h"

#include <ctime>

namespace velmora::platform {
namespace {

/// `format` holds numbers only, so no locale has a say.
std::string FormatNow(const char *format) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  char text[16];
  return {text, std::strftime(text, sizeof text, format, &local)};
}

}  // namespace

std::string LocalDate() {
  return FormatNow("%m/%d/%y");
}

std::string LocalTime() {
  return FormatNow("%H:%M:%S");
}

}  // namespace velmora::platform
