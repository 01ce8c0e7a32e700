#include "command/argument_checks.h"

#include <stdexcept>

#include "command/body_type.h"
#include "host/policy/schedule.h"
#include "host/web/charset_labels.h"
#include "host/web/client_network.h"
#include "host/web/url.h"

namespace velmora::command {
namespace {

std::string Unless(bool is_good, const std::string &text, const char *what) {
  return is_good ? std::string() : "\"" + text + "\" is " + what;
}

}  // namespace

std::string CheckAddress(const std::string &text) {
  return Unless(host::ClientAddress::Parse(text).has_value(), text, "no IP address");
}

std::string CheckCharset(const std::string &text) {
  return Unless(!host::ConverterName(text).empty(), text, "no character set that browsers know");
}

std::string CheckType(const std::string &text) {
  const std::string type = FullType(text);
  const std::size_t slash = type.find('/');
  return Unless(slash != 0 && slash != type.npos && slash + 1 < type.size(), text,
                "neither html, js, vbs, gif nor a content type such as text/html");
}

std::string CheckTime(const std::string &text) {
  try {
    host::LocalClock::Parse(text);
    return {};
  } catch (const std::invalid_argument &fault) {
    return fault.what();
  }
}

std::string CheckUrl(const std::string &text) {
  return Unless(!host::HostOfUrl(text).empty(), text, "no URL with a host");
}

}  // namespace velmora::command
