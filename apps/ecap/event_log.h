// EventLog: what was blocked and what went wrong, one JSON object a line.
#pragma once

#include <filesystem>
#include <string>

#include "host/transaction.h"

namespace velmora::ecap {

/// Each line is written with one call at the file's end, so that several processes share a file.
class EventLog {
 public:
  /// Writes nothing.
  EventLog() = default;
  /// Throws `std::system_error` when the file cannot be opened.
  explicit EventLog(const std::filesystem::path &file);
  EventLog(EventLog &&other) noexcept;
  EventLog &operator=(EventLog &&other) noexcept;
  ~EventLog();

  void Write(const std::string &line) noexcept;
  bool IsOn() const noexcept { return file_ >= 0; }

 private:
  int file_ = -1;
};

/// The events of one transaction.
class TransactionEvents final : public host::TransactionSink {
 public:
  TransactionEvents(EventLog &log, std::string url, std::string client);

  void OnBlocked(const host::BlockedItem &item) noexcept override;
  void OnStopped(host::StopReason reason) noexcept override;

 private:
  EventLog &log_;
  std::string url_;
  std::string client_;
};

}  // namespace velmora::ecap
