#include "host/events/event_log.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <new>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velmora::host {
namespace {

/// Negative with `errno` when it fails. What users visit is nobody else's business.
int Open(const std::filesystem::path &file) noexcept {
  if (file.empty()) return fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  return open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
}

/// Cut to `MOST_TEXT`, in front of a character of UTF-8.
std::string Cut(std::string_view text) {
  if (text.size() <= EventLog::MOST_TEXT) return std::string(text);
  std::size_t end = EventLog::MOST_TEXT;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

Event MakeEvent(EventKind kind) noexcept {
  Event event;
  event.kind = kind;
  event.time = std::chrono::system_clock::now();
  event.pid = getpid();
  return event;
}

/// A thread that takes none of the signals that the host waits for.
template <class Function>
std::thread QuietThread(Function function) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    std::thread thread(function);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
  } catch (const std::system_error &) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
}

}  // namespace

EventLog::EventLog(EventLogOptions options)
    : options_(std::move(options)), descriptor_(Open(options_.file)) {
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "event log " + options_.file.string());
  }
  try {
    writer_ = QuietThread([this] { Write(); });
  } catch (const std::system_error &) {
    close(descriptor_);
    throw;
  }
}

EventLog::~EventLog() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  has_work_.notify_one();
  writer_.join();
  close(descriptor_);
}

void EventLog::AddBlocked(std::string_view client, std::string_view url,
                          const BlockedItem &item) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::BLOCKED);
    event.client = Cut(client);
    event.url = Cut(url);
    event.category = item.category;
    event.item = Cut(item.item);
    event.detail = Cut(item.detail);
    return event;
  });
}

void EventLog::AddStopped(std::string_view client, std::string_view url,
                          StopReason reason) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::STOPPED);
    event.client = Cut(client);
    event.url = Cut(url);
    event.reason = Describe(reason);
    return event;
  });
}

void EventLog::AddError(std::string_view reason) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::ERROR);
    event.reason = Cut(reason);
    return event;
  });
}

template <class Maker>
void EventLog::Add(Maker make_event) noexcept {
  try {
    Enqueue(make_event());
  } catch (const std::bad_alloc &) {
    const std::lock_guard lock(mutex_);
    ++dropped_;
  }
}

void EventLog::Enqueue(Event event) {
  const std::size_t size = event.Size();
  {
    const std::lock_guard lock(mutex_);
    if (size <= options_.queue_bytes - std::min(bytes_, options_.queue_bytes)) {
      queue_.push_back(std::move(event));
      bytes_ += size;
    } else {
      ++dropped_;
    }
  }
  has_work_.notify_one();
}

void EventLog::Reopen() noexcept {
  {
    const std::lock_guard lock(mutex_);
    ++reopens_asked_;
  }
  has_work_.notify_one();
}

void EventLog::Flush() {
  std::unique_lock lock(mutex_);
  is_idle_.wait(lock, [this] { return bytes_ == 0 && !HasOtherWork(); });
}

std::uint64_t EventLog::Dropped() const noexcept {
  const std::lock_guard lock(mutex_);
  return dropped_;
}

void EventLog::Write() {
  std::vector<Event> events;
  std::uint64_t said = 0;
  std::unique_lock lock(mutex_);
  for (bool is_last = false; !is_last;) {
    has_work_.wait(lock, [this] { return !queue_.empty() || HasOtherWork() || is_ending_; });
    events.swap(queue_);
    const std::size_t bytes = bytes_;
    const std::uint64_t reopens = reopens_asked_;
    std::uint64_t dropped = dropped_;
    is_last = is_ending_;
    lock.unlock();

    if (reopens != reopens_done_) OpenAgain();
    std::uint64_t not_taken = 0;
    for (const Event &event : events) not_taken += WriteEvent(event) ? 0 : 1;
    events.clear();
    dropped += not_taken;
    if (dropped != said && WriteDropped(dropped - said)) said = dropped;

    lock.lock();
    bytes_ -= bytes;
    reopens_done_ = reopens;
    dropped_ += not_taken;
    dropped_tried_ = dropped;
    is_idle_.notify_all();
  }
}

bool EventLog::WriteEvent(const Event &event) noexcept {
  try {
    std::string line = ToLine(event);
    if (is_line_broken_) line.insert(line.begin(), '\n');
    std::string_view rest = line;
    while (!rest.empty()) {
      const ssize_t length = write(descriptor_, rest.data(), rest.size());
      if (length < 0 && errno != EINTR) break;
      if (length > 0) rest.remove_prefix(static_cast<std::size_t>(length));
    }
    if (rest.size() < line.size()) is_line_broken_ = !rest.empty();
    return rest.empty();
  } catch (const std::bad_alloc &) {
    return false;
  }
}

bool EventLog::WriteDropped(std::uint64_t count) noexcept {
  Event event = MakeEvent(EventKind::DROPPED);
  event.count = count;
  return WriteEvent(event);
}

void EventLog::OpenAgain() noexcept {
  const int descriptor = Open(options_.file);
  if (descriptor >= 0) {
    close(std::exchange(descriptor_, descriptor));
    return;
  }
  const int error = errno;
  try {
    Event event = MakeEvent(EventKind::ERROR);
    event.reason =
        "event log not opened again: " + std::error_code(error, std::generic_category()).message();
    WriteEvent(event);
  } catch (const std::bad_alloc &) {
    // The old file goes on as it is.
  }
}

}  // namespace velmora::host
