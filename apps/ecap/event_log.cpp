#include "ecap/event_log.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "host/category_names.h"

namespace velmora::ecap {
namespace {

using Json = nlohmann::ordered_json;

/// UTC with milliseconds: "2024-05-06T07:08:09.123Z".
std::string Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  char text[sizeof "2024-05-06T07:08:09"];
  std::strftime(text, sizeof text, "%FT%T", &parts);
  const std::string milliseconds = std::to_string(1000 + now.tv_nsec / 1'000'000);
  return std::string(text) + '.' + milliseconds.substr(1) + 'Z';
}

/// Texts from pages may hold any bytes: what is no UTF-8 is replaced.
std::string Line(const Json &event) {
  return event.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

EventLog::EventLog(const std::filesystem::path &file)
    : file_(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640)) {
  if (file_ < 0) throw std::system_error(errno, std::generic_category(), file.string());
}

EventLog::EventLog(EventLog &&other) noexcept : file_(std::exchange(other.file_, -1)) {}

EventLog &EventLog::operator=(EventLog &&other) noexcept {
  std::swap(file_, other.file_);
  return *this;
}

EventLog::~EventLog() {
  if (file_ >= 0) close(file_);
}

void EventLog::Write(const std::string &line) noexcept {
  // A full disk must not stop the proxy: the line is lost.
  [[maybe_unused]] const ssize_t written = write(file_, line.data(), line.size());
}

TransactionEvents::TransactionEvents(EventLog &log, std::string url, std::string client)
    : log_(log), url_(std::move(url)), client_(std::move(client)) {}

void TransactionEvents::OnBlocked(const host::BlockedItem &item) noexcept {
  if (!log_.IsOn()) return;
  try {
    log_.Write(Line({{"time", Now()},
                     {"client", client_},
                     {"url", url_},
                     {"category", host::NameOfCategory(item.category)},
                     {"item", item.item},
                     {"detail", item.detail}}));
  } catch (...) {
    // No memory for a line: it is lost.
  }
}

void TransactionEvents::OnStopped(host::StopReason reason) noexcept {
  if (!log_.IsOn()) return;
  try {
    log_.Write(Line({{"time", Now()},
                     {"client", client_},
                     {"url", url_},
                     {"stopped", host::Describe(reason)}}));
  } catch (...) {
    // As above.
  }
}

}  // namespace velmora::ecap
