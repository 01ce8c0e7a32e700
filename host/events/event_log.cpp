#include "host/events/event_log.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <new>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "host/events/process_number.h"
#include "host/web/client_network.h"

namespace velmora::host {
namespace {

/// So long the writer lets events gather: it is woken once for those of a page, not once for each.
constexpr std::chrono::milliseconds GATHERING_TIME{10};

/// By all logs of this process, of which one takes the place of another.
std::atomic<std::uint64_t> numbered{0};

/// Cut to `MOST_TEXT`, in front of a character of UTF-8.
std::string Cut(std::string_view text) {
  if (text.size() <= EventLog::MOST_TEXT) return std::string(text);
  std::size_t end = EventLog::MOST_TEXT;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

Event MakeEvent(EventKind kind, std::string_view client = {}, std::string_view url = {}) {
  Event event;
  event.kind = kind;
  event.time = std::chrono::system_clock::now();
  event.pid = ProcessNumber();
  event.client = Cut(client);
  event.url = Cut(url);
  return event;
}

/// "http://www.example.com:8080/" of all that begins so.
std::string SiteOf(const std::string &url) {
  const std::size_t scheme = url.find("://");
  if (scheme == url.npos) return {};
  const std::size_t host = scheme + 3;
  std::string authority = url.substr(host, url.find_first_of("/?#\\", host) - host);
  // Nor who has signed in there.
  authority.erase(0, authority.rfind('@') + 1);
  return url.substr(0, host) + authority + "/";
}

std::string NetworkOf(const std::string &client) {
  if (client.find('/') != client.npos) return client;
  const auto address = ClientAddress::Parse(client);
  return address ? address->Network().Text() : std::string();
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
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
}

}  // namespace

void Reduce(Event &event, UrlDetail urls, ClientDetail clients) {
  if (urls != UrlDetail::FULL) {
    for (std::string Event::*const url : {&Event::url, &Event::page, &Event::address}) {
      event.*url = urls == UrlDetail::SITE ? SiteOf(event.*url) : std::string();
    }
    // Items are written as they stand in pages, addresses and all.
    event.item.resize(std::min(event.item.find_first_of(" =:"), event.item.size()));
  }
  if (clients == ClientDetail::NETWORK) event.client = NetworkOf(event.client);
  if (clients == ClientDetail::NONE) event.client.clear();
}

bool IsLeftOut(const EventLogOptions &options, const std::string &client) {
  if (options.left_out.empty()) return false;
  const auto address = ClientAddress::Parse(client.substr(0, client.find('/')));
  return address && std::ranges::any_of(options.left_out, [&](const ClientNetwork &network) {
           return network.Contains(*address);
         });
}

EventLog::EventLog(EventLogOptions options) : options_(std::move(options)), file_(options_.file) {
  base::Descriptor opened = file_.Open(open_trouble_);
  has_file_ = opened.IsOpen();
  file_.Use(std::move(opened));
  const base::MutexLock lock(mutex_);
  StartWriter();
}

EventLog::~EventLog() {
  std::thread writer;
  {
    const base::MutexLock lock(mutex_);
    is_ending_ = true;
    writer.swap(writer_);
  }
  has_work_.notify_one();
  if (writer.joinable()) {
    writer.join();
  } else {
    Write();
  }
}

void EventLog::AddBlocked(std::string_view client, std::string_view url, const BlockedItem &item,
                          std::string_view response) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::BLOCKED, client, url);
    event.category = item.category;
    event.item = Cut(item.item);
    event.detail = Cut(item.detail);
    event.id = MakeBlockId();
    event.address = Cut(item.address);
    event.response = response;
    event.offset = item.offset;
    return event;
  });
}

void EventLog::AddNotMade(const NotMade &request) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::BLOCKED, request.client, request.url);
    event.id = request.id;
    event.page = Cut(request.page);
    event.type = Cut(request.type);
    event.category = CATEGORY_REQUESTS;
    event.item = Cut(request.method);
    event.detail = Cut(std::string("\"").append(request.rule).append("\""));
    event.list = Cut(std::string(request.is_by_site ? SITE_CATEGORY_PLACE : "")
                         .append(request.list)
                         .append(":")
                         .append(std::to_string(request.line)));
    return event;
  });
}

void EventLog::AddFiltered(std::string_view client, std::string_view url, const BodySaving &saving,
                           std::string_view response) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::FILTERED, client, url);
    event.id = response;
    event.items = saving.items;
    event.saved = saving.bytes;
    return event;
  });
}

void EventLog::AddStopped(std::string_view client, std::string_view url,
                          StopReason reason) noexcept {
  Add([&] {
    Event event = MakeEvent(EventKind::STOPPED, client, url);
    event.reason = Describe(reason);
    return event;
  });
}

void EventLog::AddScript(EventKind kind, std::string_view client, std::string_view url,
                         std::int32_t category) noexcept {
  Add([&] {
    Event event = MakeEvent(kind, client, url);
    event.category = category;
    return event;
  });
}

void EventLog::AddPressed(EventKind kind, std::string_view client, std::string_view url) noexcept {
  Add([&] { return MakeEvent(kind, client, url); });
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
    Event event = make_event();
    if (IsLeftOut(options_, event.client)) return;
    Reduce(event, options_.urls, options_.clients);
    Enqueue(std::move(event));
  } catch (const std::bad_alloc &) {
    const base::MutexLock lock(mutex_);
    ++dropped_;
  }
}

void EventLog::Enqueue(Event event) {
  const std::size_t size = event.Size();
  bool is_news = true;
  {
    const base::MutexLock lock(mutex_);
    StartWriter();
    if (size <= options_.queue_bytes - std::min(bytes_, options_.queue_bytes)) {
      queue_.push_back(std::move(event));
      bytes_ += size;
      is_news = queue_.size() == 1 || IsHalfFull();
    } else {
      ++dropped_;
    }
  }
  if (is_news) has_work_.notify_one();
}

void EventLog::Reopen() noexcept {
  OpenFile();
  has_work_.notify_one();
}

void EventLog::OpenFile() noexcept {
  std::error_code error;
  base::Descriptor opened = file_.Open(error);
  bool has_old_file = false;
  {
    const base::MutexLock lock(mutex_);
    open_trouble_ = error;
    has_old_file = has_file_;
    if (!error) {
      // One that the writer has not come to yet is of no use any more.
      if (!opened_.IsOpen()) before_opened_ = queue_.size();
      opened_ = std::move(opened);
      has_file_ = true;
    }
  }
  if (!error || !has_old_file) return;
  Add([&] {
    Event event = MakeEvent(EventKind::ERROR);
    event.reason = "event log not opened again: " + error.message();
    return event;
  });
}

void EventLog::Flush() {
  const base::MutexLock lock(mutex_);
  ++flushes_;
  has_work_.notify_one();
  while (writer_.joinable() && (bytes_ != 0 || HasOtherWork())) is_idle_.wait(mutex_);
  --flushes_;
}

std::uint64_t EventLog::Dropped() const noexcept {
  const base::MutexLock lock(mutex_);
  return dropped_;
}

std::error_code EventLog::Trouble() const noexcept {
  const base::MutexLock lock(mutex_);
  return AnyTrouble();
}

std::optional<std::string> EventLog::News() {
  const auto now = std::chrono::steady_clock::now();
  const base::MutexLock lock(mutex_);
  StartWriter();
  const std::error_code trouble = AnyTrouble();
  if (trouble == trouble_told_ || (told_at_ && now - *told_at_ < options_.news)) {
    return std::nullopt;
  }
  std::string news = "event log " + file_.Name() + ": ";
  if (thread_trouble_) news += "there is no thread to write it: ";
  news += trouble ? trouble.message() + "; it is tried again, and what is lost meanwhile is counted"
                  : "all is well again";
  news += "; events lost so far: " + std::to_string(dropped_);
  trouble_told_ = trouble;
  told_at_ = now;
  return news;
}

void EventLog::WaitForWork() {
  while (queue_.empty() && !HasOtherWork() && !is_ending_) {
    if (!IsWaitingForFile()) {
      const auto due = counters_due_;
      if (has_work_.wait_until(mutex_, due) == std::cv_status::timeout) return;
    } else if (has_work_.wait_for(mutex_, options_.retry) == std::cv_status::timeout) {
      return;
    }
  }
  const auto end = std::chrono::steady_clock::now() + GATHERING_TIME;
  while (!HasOtherWork() && !is_ending_ && flushes_ == 0 && !IsHalfFull()) {
    if (has_work_.wait_until(mutex_, end) == std::cv_status::timeout) return;
  }
}

void EventLog::StartWriter() noexcept {
  if (writer_.joinable()) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_start_) return;
  next_start_ = now + options_.retry;
  thread_trouble_.clear();
  try {
    writer_ = QuietThread([this] { Write(); });
  } catch (const std::system_error &error) {
    thread_trouble_ = error.code();
  } catch (...) {
    thread_trouble_ = std::make_error_code(std::errc::not_enough_memory);
  }
}

void EventLog::Write() {
  using Clock = std::chrono::steady_clock;
  Clock::time_point next_try = Clock::now() + options_.retry;
  counters_due_ = Clock::now() + options_.counters;
  std::vector<Event> events;
  mutex_.lock();
  for (bool is_last = false; !is_last;) {
    WaitForWork();
    events.swap(queue_);
    const std::size_t bytes = bytes_;
    base::Descriptor opened = std::move(opened_);
    std::size_t place_of_opening = std::exchange(before_opened_, 0);
    std::error_code open_trouble = open_trouble_;
    std::uint64_t dropped = dropped_;
    std::uint64_t said = dropped_said_;
    is_last = is_ending_;
    mutex_.unlock();

    const bool is_try_due = open_trouble && !opened.IsOpen() && Clock::now() >= next_try;
    if (is_try_due) {
      next_try = Clock::now() + options_.retry;
      opened = file_.Open(open_trouble);
      place_of_opening = 0;
    }
    std::uint64_t not_taken = 0;
    for (std::size_t i = 0; i <= events.size(); ++i) {
      if (i == place_of_opening && opened.IsOpen())
        file_.Use(std::exchange(opened, base::Descriptor()));
      if (i < events.size() && !WriteEvent(events[i])) ++not_taken;
    }
    events.clear();
    WriteCounters(is_last, bytes, dropped);
    dropped += not_taken;
    if (dropped != said && WriteDropped(dropped - said)) said = dropped;

    mutex_.lock();
    bytes_ -= bytes;
    dropped_ += not_taken;
    dropped_tried_ = dropped;
    dropped_said_ = said;
    write_trouble_ = last_write_;
    if (is_try_due) {
      open_trouble_ = open_trouble;
      has_file_ = has_file_ || !open_trouble;
    }
    is_idle_.notify_all();
  }
  mutex_.unlock();
  SayWhatIsLost();
}

bool EventLog::WriteEvent(Event &event) noexcept {
  try {
    event.number = ++numbered;
    last_write_ = file_.Write(ToLine(event));
  } catch (const std::bad_alloc &) {
    last_write_ = std::make_error_code(std::errc::not_enough_memory);
  }
  return !last_write_;
}

bool EventLog::WriteDropped(std::uint64_t count) noexcept {
  Event event = MakeEvent(EventKind::DROPPED);
  event.count = count;
  return WriteEvent(event);
}

void EventLog::WriteCounters(bool is_last, std::uint64_t queued, std::uint64_t lost) noexcept {
  const auto now = std::chrono::steady_clock::now();
  if (now < counters_due_ && !is_last) return;
  counters_due_ = now + options_.counters;
  const WorkerCounters counters = CountersOfProcess();
  if (counters == counters_told_) return;
  counters_told_ = counters;
  try {
    char member[256] = "";
    gethostname(member, sizeof member - 1);
    Event event = MakeEvent(EventKind::COUNTERS);
    event.counters =
        std::make_shared<const WorkerReport>(WorkerReport{.member = member,
                                                          .counters = counters,
                                                          .held = all_held_bytes.Bytes(),
                                                          .queued = queued,
                                                          .lost = lost});
    WriteEvent(event);
  } catch (const std::bad_alloc &) {
    // The next ones tell as much.
  }
}

void EventLog::SayWhatIsLost() noexcept {
  const base::MutexLock lock(mutex_);
  const std::uint64_t lost = dropped_ - dropped_said_;
  if (lost == 0 || options_.file.empty()) return;
  try {
    const std::string text = "velmora: event log " + file_.Name() + ": " + AnyTrouble().message() +
                             "; events lost: " + std::to_string(lost) + "\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
  } catch (const std::bad_alloc &) {
    // Without memory there are no words either.
  }
}

}  // namespace velmora::host
