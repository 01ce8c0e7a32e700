// EventLog: the file that events are written to, a line each.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/bodies/transaction.h"
#include "host/events/event.h"

namespace velmora::host {

struct EventLogOptions {
  /// Empty: standard error.
  std::filesystem::path file{};
  /// Memory that events may take until they are written. Those beyond are dropped.
  std::size_t queue_bytes = 4U << 20;

  bool operator==(const EventLogOptions &) const = default;
};

/// Any thread adds events and never waits for the file: a thread of the log's own writes them. That
/// thread does not outlive a fork, so the process that uses a log makes it; it takes no signals.
///
/// A line is one `write` to a file that is open for appending, so several processes may share it.
/// Events that are dropped, for want of room or because the file does not take them, are counted,
/// and a line says so as soon as the file takes one.
class EventLog {
 public:
  /// Texts are cut to so many bytes.
  static constexpr std::size_t MOST_TEXT = 2048;

  /// Throws `std::system_error` when the file cannot be opened.
  explicit EventLog(EventLogOptions options);
  EventLog(const EventLog &) = delete;
  EventLog &operator=(const EventLog &) = delete;
  /// What was added is written before.
  ~EventLog();

  void AddBlocked(std::string_view client, std::string_view url, const BlockedItem &item) noexcept;
  void AddStopped(std::string_view client, std::string_view url, StopReason reason) noexcept;
  void AddError(std::string_view reason) noexcept;

  /// The file was renamed: it is opened anew under its name as soon as the writer comes to it. If
  /// that fails, the old file stays in use and gets a line about it.
  void Reopen() noexcept;
  /// Waits until what was added before is written.
  void Flush();
  /// Events that were dropped so far.
  std::uint64_t Dropped() const noexcept;

 private:
  template <class Maker>
  void Add(Maker make_event) noexcept;
  void Enqueue(Event event);
  /// The writer thread.
  void Write();
  /// These answer whether the file took the line.
  bool WriteEvent(const Event &event) noexcept;
  bool WriteDropped(std::uint64_t count) noexcept;
  void OpenAgain() noexcept;
  /// Something to do besides writing what is queued.
  bool HasOtherWork() const noexcept {
    return reopens_asked_ != reopens_done_ || dropped_ != dropped_tried_;
  }

  const EventLogOptions options_;
  /// The writer's alone.
  int descriptor_;
  /// The file took the beginning of the last line only.
  bool is_line_broken_ = false;

  mutable std::mutex mutex_;
  std::condition_variable has_work_;
  std::condition_variable is_idle_;
  std::vector<Event> queue_;
  /// Of what is queued or being written.
  std::size_t bytes_ = 0;
  std::uint64_t dropped_ = 0;
  /// Those that a line was tried for, written or not.
  std::uint64_t dropped_tried_ = 0;
  std::uint64_t reopens_asked_ = 0;
  std::uint64_t reopens_done_ = 0;
  bool is_ending_ = false;

  std::thread writer_;
};

/// Writes what happens in one transaction to a log, which outlives it.
class EventLogSink final : public TransactionSink {
 public:
  /// The client may be empty.
  EventLogSink(EventLog &log, std::string client, std::string url)
      : log_(log), client_(std::move(client)), url_(std::move(url)) {}

  void OnBlocked(const BlockedItem &item) noexcept override {
    log_.AddBlocked(client_, url_, item);
  }
  void OnStopped(StopReason reason) noexcept override { log_.AddStopped(client_, url_, reason); }

 private:
  EventLog &log_;
  std::string client_;
  std::string url_;
};

}  // namespace velmora::host
