// EventLog: the file that events are written to, a line each.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "host/bodies/transaction.h"
#include "host/events/event.h"
#include "host/events/event_file.h"
#include "host/web/client_network.h"

namespace velmora::host {

/// What of an address is written: all, its scheme and host, or nothing.
enum class UrlDetail { FULL, SITE, NONE };
/// What of a client: its address, the network that it is in (of 24 bits, or 48 with IPv6), nothing.
enum class ClientDetail { FULL, NETWORK, NONE };

/// Takes out of an event what is not to be kept. What was taken out before stays as it is.
void Reduce(Event &event, UrlDetail urls, ClientDetail clients);

struct EventLogOptions {
  /// Empty: standard error.
  std::filesystem::path file{};
  /// Memory that events may take until they are written. Those beyond are dropped.
  std::size_t queue_bytes = 4U << 20;
  /// How often a file that cannot be opened, or does not take lines, is tried again.
  std::chrono::milliseconds retry{1000};
  /// `EventLog::News` has something at most this often.
  std::chrono::milliseconds news{10'000};

  /// How often the process tells of itself in numbers, while it has anything new to tell.
  std::chrono::milliseconds counters = std::chrono::seconds(30);

  UrlDetail urls = UrlDetail::FULL;
  ClientDetail clients = ClientDetail::FULL;
  /// Of these nothing is written at all.
  std::vector<ClientNetwork> left_out{};

  /// Where what was written is kept for questions, how long single events are, and how long sums:
  /// for those who answer questions. Empty: beside the file.
  std::filesystem::path store{};
  std::chrono::milliseconds keep_events = std::chrono::days(30);
  std::chrono::milliseconds keep_sums = std::chrono::days(400);

  bool operator==(const EventLogOptions &) const = default;
};

/// How the place of a rule begins that is a category of the policy's.
inline constexpr std::string_view SITE_CATEGORY_PLACE = "[[category]] ";

/// Whether nothing is to be written of an event of this client.
bool IsLeftOut(const EventLogOptions &options, const std::string &client);

/// A request that was not made, and the rule that was against it.
struct NotMade {
  std::string_view id{};
  std::string_view client{};
  std::string_view url{};
  /// Empty when the request is a page itself, or its page is not known.
  std::string_view page{};
  std::string_view method{};
  std::string_view type{};
  std::string_view rule{};
  /// The list, or the policy's category of sites.
  std::string_view list{};
  std::uint32_t line = 0;
  bool is_by_site = false;
};

/// Any thread adds events and never waits for the file: a thread of the log's own writes them. That
/// thread does not outlive a fork, so the process that uses a log makes it; it takes no signals.
///
/// Trouble with the file, or with the thread, stops nobody. Events that are dropped, for want of
/// room or because there is no file that takes them, are counted, and a line says so as soon as the
/// file takes one; if it does not take one to the end, standard error gets it.
class EventLog {
 public:
  /// Texts are cut to so many bytes.
  static constexpr std::size_t MOST_TEXT = 2048;

  /// Opens the file.
  explicit EventLog(EventLogOptions options);
  EventLog(const EventLog &) = delete;
  EventLog &operator=(const EventLog &) = delete;
  /// What was added is written before.
  ~EventLog();

  /// Here and below the response's id may be empty.
  void AddBlocked(std::string_view client, std::string_view url, const BlockedItem &item,
                  std::string_view response = {}) noexcept;
  void AddNotMade(const NotMade &request) noexcept;
  void AddFiltered(std::string_view client, std::string_view url, const BodySaving &saving,
                   std::string_view response = {}) noexcept;
  void AddStopped(std::string_view client, std::string_view url, StopReason reason) noexcept;
  /// Of kind `GUARDED` or `LEFT_OUT`.
  void AddScript(EventKind kind, std::string_view client, std::string_view url,
                 std::int32_t category) noexcept;
  /// Of kind `OPENED` or `ALLOWED`.
  void AddPressed(EventKind kind, std::string_view client, std::string_view url) noexcept;
  void AddError(std::string_view reason) noexcept;

  /// The file was renamed: it is opened anew under its name, at once and by the user that made the
  /// log; what was added before goes to the old one. If that fails, the old file stays in use, with
  /// a line about it, until a later try does better.
  void Reopen() noexcept;
  /// Waits until what was added before is written; not while there is no thread that writes.
  void Flush();
  /// Events that were dropped so far.
  std::uint64_t Dropped() const noexcept;
  /// What keeps the file from being opened or written, be it the want of a thread; empty when all
  /// is well.
  std::error_code Trouble() const noexcept;
  /// A line for the host's own log when the log's state is another than the last such line said.
  std::optional<std::string> News();

 private:
  template <class Maker>
  void Add(Maker make_event) noexcept;
  void Enqueue(Event event);
  /// Hands the writer a file opened by this thread, or notes why there is none.
  void OpenFile() noexcept;

  /// Starts the writer thread if there is none; one that could not be had is tried again later.
  void StartWriter() noexcept VELMORA_REQUIRES(mutex_);
  /// The writer thread.
  void Write();
  /// Until events have gathered, or there is something else.
  void WaitForWork() VELMORA_REQUIRES(mutex_);
  /// Gives the event its number; whether the file took the line.
  bool WriteEvent(Event &event) noexcept;
  bool WriteDropped(std::uint64_t count) noexcept;
  /// Writes what the process has done, when it is time to and there is something new.
  void WriteCounters(bool is_last, std::uint64_t queued, std::uint64_t lost) noexcept;
  /// Standard error gets what the file did not.
  void SayWhatIsLost() noexcept;

  /// Something to do besides writing what is queued.
  bool HasOtherWork() const noexcept VELMORA_REQUIRES(mutex_) {
    return opened_.IsOpen() || dropped_ != dropped_tried_;
  }
  /// The file is to be tried again, though nobody asks for it.
  bool IsWaitingForFile() const noexcept VELMORA_REQUIRES(mutex_) {
    return open_trouble_ || dropped_ != dropped_said_;
  }
  bool IsHalfFull() const noexcept VELMORA_REQUIRES(mutex_) {
    return bytes_ >= options_.queue_bytes / 2;
  }
  std::error_code AnyTrouble() const noexcept VELMORA_REQUIRES(mutex_) {
    if (thread_trouble_) return thread_trouble_;
    return open_trouble_ ? open_trouble_ : write_trouble_;
  }

  const EventLogOptions options_;
  /// But for opening, the writer's alone.
  EventFile file_;
  /// The writer's: how its last line went.
  std::error_code last_write_;
  /// The writer's: when counters are due, and what was written of them last. What another log of
  /// this process has told before is not told again.
  std::chrono::steady_clock::time_point counters_due_;
  WorkerCounters counters_told_ = CountersOfProcess();

  mutable base::Mutex mutex_;
  std::condition_variable_any has_work_;
  std::condition_variable_any is_idle_;
  std::vector<Event> queue_ VELMORA_GUARDED_BY(mutex_);
  /// Of what is queued or being written.
  std::size_t bytes_ VELMORA_GUARDED_BY(mutex_) = 0;
  std::uint64_t dropped_ VELMORA_GUARDED_BY(mutex_) = 0;
  /// Those that a line was tried for, and those that one was written for.
  std::uint64_t dropped_tried_ VELMORA_GUARDED_BY(mutex_) = 0;
  std::uint64_t dropped_said_ VELMORA_GUARDED_BY(mutex_) = 0;
  /// Opened, and not yet taken up by the writer.
  base::Descriptor opened_ VELMORA_GUARDED_BY(mutex_);
  /// How many events belong into the file before it.
  std::size_t before_opened_ VELMORA_GUARDED_BY(mutex_) = 0;
  /// There is a file, if only an old one.
  bool has_file_ VELMORA_GUARDED_BY(mutex_) = false;
  /// Why there is no file, or none under its name.
  std::error_code open_trouble_ VELMORA_GUARDED_BY(mutex_);
  /// Why the last line was not taken.
  std::error_code write_trouble_ VELMORA_GUARDED_BY(mutex_);
  std::error_code trouble_told_ VELMORA_GUARDED_BY(mutex_);
  std::optional<std::chrono::steady_clock::time_point> told_at_ VELMORA_GUARDED_BY(mutex_);
  bool is_ending_ VELMORA_GUARDED_BY(mutex_) = false;
  /// How many wait for what was added to be written.
  int flushes_ VELMORA_GUARDED_BY(mutex_) = 0;
  std::thread writer_ VELMORA_GUARDED_BY(mutex_);
  /// Why there is no writer, and when it is worth another try.
  std::error_code thread_trouble_ VELMORA_GUARDED_BY(mutex_);
  std::chrono::steady_clock::time_point next_start_ VELMORA_GUARDED_BY(mutex_){};
};

/// Writes what happens in one transaction to a log, which outlives it.
class EventLogSink final : public TransactionSink {
 public:
  /// The client may be empty, and the response's id.
  EventLogSink(EventLog &log, std::string client, std::string url, std::string response = {})
      : log_(log),
        client_(std::move(client)),
        url_(std::move(url)),
        response_(std::move(response)) {}

  void OnBlocked(const BlockedItem &item) noexcept override {
    log_.AddBlocked(client_, url_, item, response_);
  }
  void OnFinished(const BodySaving &saving) noexcept override {
    if (saving.items != 0) log_.AddFiltered(client_, url_, saving, response_);
  }
  void OnGuarded(std::int32_t category) noexcept override {
    log_.AddScript(EventKind::GUARDED, client_, url_, category);
  }
  void OnLeftOut(std::int32_t category) noexcept override {
    log_.AddScript(EventKind::LEFT_OUT, client_, url_, category);
  }
  void OnStopped(StopReason reason) noexcept override { log_.AddStopped(client_, url_, reason); }

 private:
  EventLog &log_;
  std::string client_;
  std::string url_;
  std::string response_;
};

}  // namespace velmora::host
