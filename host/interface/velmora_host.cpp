// The C interface: each function catches everything, and a response holds all that it works with.
#define VELMORA_API __attribute__((visibility("default")))
#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <velmora_host.h>

#include "base/ascii.h"
#include "base/mutex.h"
#include "host/events/event_log.h"
#include "host/policy/filtering.h"
#include "host/requests/request_judge.h"
#include "host/web/stale_headers.h"

using namespace velmora::host;

struct velmora_host {
  velmora_host(FilterFiles of, std::shared_ptr<const Filtering> first)
      : files(std::move(of)), filtering(std::move(first)) {}

  std::shared_ptr<const Filtering> Current() const {
    const velmora::base::MutexLock lock(mutex);
    return filtering;
  }
  void Renew() {
    const velmora::base::MutexLock one_at_a_time(renewing);
    auto renewed = Renewal(Current(), files).Finish();
    const velmora::base::MutexLock lock(mutex);
    filtering.swap(renewed);
  }

  const FilterFiles files;
  velmora::base::Mutex renewing;
  mutable velmora::base::Mutex mutex;
  std::shared_ptr<const Filtering> filtering VELMORA_GUARDED_BY(mutex);
};

namespace {

constexpr int PARTIAL_CONTENT = 206;

std::string_view View(const char *text) noexcept {
  return text == nullptr ? std::string_view() : text;
}

velmora_bytes Bytes(std::string_view bytes) noexcept {
  return {bytes.data(), bytes.size()};
}

/// A structure as this library knows it, of which a caller may know less, or more.
template <class Structure>
Structure Known(const Structure &given) {
  if (given.size < sizeof given.size) throw std::invalid_argument("a structure without its size");
  Structure known{};
  std::memcpy(&known, &given, std::min(given.size, sizeof known));
  return known;
}

void Say(const char *what, char *message, std::size_t size) noexcept {
  if (message == nullptr || size == 0) return;
  const std::string_view text = View(what).substr(0, size - 1);
  std::ranges::copy(text, message);
  message[text.size()] = '\0';
}

/// The code of `action`, or of what it throws, which is said in `message`.
template <class Action>
velmora_code Caught(Action action, char *message = nullptr, std::size_t size = 0) noexcept {
  const auto said = [&](velmora_code code, const char *what) noexcept {
    Say(what, message, size);
    return code;
  };
  try {
    return said(action(), "");
  } catch (const std::invalid_argument &error) {
    return said(VELMORA_INVALID_ARGUMENT, error.what());
  } catch (const std::bad_alloc &) {
    return said(VELMORA_OUT_OF_MEMORY, "out of memory");
  } catch (const LoadError &error) {
    return said(VELMORA_CANNOT_LOAD, error.what());
  } catch (const PolicyError &error) {
    return said(VELMORA_BAD_POLICY, error.what());
  } catch (const std::exception &error) {
    return said(VELMORA_ERROR, error.what());
  } catch (...) {
    return said(VELMORA_ERROR, "unknown trouble");
  }
}

/// Tells the caller and the event log.
class Sink final : public TransactionSink {
 public:
  Sink(velmora_event_callback on_event, void *user) : on_event_(on_event), user_(user) {}

  void LogTo(EventLog &log, std::string client, std::string url) {
    log_.emplace(log, std::move(client), std::move(url));
  }

  void OnBlocked(const BlockedItem &item) noexcept override {
    if (log_) log_->OnBlocked(item);
    velmora_event event = Event(VELMORA_EVENT_BLOCKED);
    event.category = item.category;
    if (const auto name = NameOfCategory(item.category); !name.empty()) {
      event.category_name = name.data();
    }
    event.item = Bytes(item.item);
    event.detail = Bytes(item.detail);
    event.address = Bytes(item.address);
    if (item.offset) event.offset = static_cast<std::int64_t>(*item.offset);
    Tell(event);
  }
  void OnFinished(const BodySaving &saving) noexcept override {
    if (log_) log_->OnFinished(saving);
  }
  void OnGuarded(std::int32_t category) noexcept override {
    if (log_) log_->OnGuarded(category);
  }
  void OnLeftOut(std::int32_t category) noexcept override {
    if (log_) log_->OnLeftOut(category);
  }
  void OnStopped(StopReason reason) noexcept override {
    if (log_) log_->OnStopped(reason);
    velmora_event event = Event(VELMORA_EVENT_STOPPED);
    event.reason = Describe(reason);
    Tell(event);
  }

 private:
  static velmora_event Event(velmora_event_kind kind) noexcept {
    velmora_event event{};
    event.size = sizeof event;
    event.kind = kind;
    event.category_name = "";
    event.reason = "";
    event.offset = -1;
    return event;
  }
  void Tell(const velmora_event &event) const noexcept {
    if (on_event_ != nullptr) on_event_(user_, &event);
  }

  const velmora_event_callback on_event_;
  void *const user_;
  std::optional<EventLogSink> log_;
};

FilterFiles Files(const velmora_host_options &options) {
  FilterFiles files{.plugin = View(options.plugin), .policy = View(options.policy)};
  if (files.plugin.empty()) files.plugin = DefaultPlugin();
  if (!View(options.event_log).empty()) files.event_log = options.event_log;
  return files;
}

PolicyAnswer AnswerTo(const Policy &policy, const velmora_response_head &head) {
  PolicyAnswer answer = policy.For(
      {View(head.url),
       Asker{.client = View(head.client), .user = View(head.user), .groups = View(head.groups)}});
  if (head.block != nullptr) answer.categories = CategorySet::Parse(head.block);
  return answer;
}

}  // namespace

struct velmora_response {
  velmora_response(std::shared_ptr<const Filtering> in_force, velmora_event_callback on_event,
                   void *user)
      : filtering(std::move(in_force)), sink(on_event, user) {}

  /// Is there anything to filter?
  bool Begin(const velmora_response_head &head) {
    const std::string url(View(head.url));
    const std::string client(View(head.client));
    PolicyAnswer answer = AnswerTo(filtering->policy, head);
    const bool is_part = head.status == PARTIAL_CONTENT && !View(head.range).empty();
    if (is_part || !answer.IsFiltered()) return false;
    if (filtering->events) sink.LogTo(*filtering->events, client, url);
    TransactionInfo info{.url = url,
                         .categories = answer.categories,
                         .settings = std::move(answer.settings),
                         .option_block = std::move(answer.option_block),
                         .requests = filtering->plugin.get(),
                         .lists = std::move(answer.lists)};
    if (!View(head.content_type).empty()) info.content_type = head.content_type;
    filter.emplace(filtering->plugin->CreateProcessor(), std::move(info),
                   ResponseHeaders{.content_encoding = View(head.content_encoding),
                                   .accept_encoding = View(head.accept_encoding)},
                   sink, filtering->policy.responses);
    return filter->IsWanted();
  }

  bool HasFailed() const noexcept { return filter && filter->State() == StreamState::FAILED; }

  /// Takes a piece, or the end of the body, if it is time for it.
  velmora_code Take(std::string_view bytes, bool is_last, velmora_bytes *out) noexcept {
    if (HasFailed()) return VELMORA_FAILED;
    if (!is_drained || is_at_end) return VELMORA_INVALID_ARGUMENT;
    try {
      piece.assign(bytes);
    } catch (...) {
      filter->Abort();
      return VELMORA_OUT_OF_MEMORY;
    }
    is_at_end = is_last;
    return Give(is_last ? filter->Finish() : filter->Push(piece), out);
  }

  velmora_code Give(std::string_view bytes, velmora_bytes *out) noexcept {
    if (HasFailed()) return VELMORA_FAILED;
    is_drained = bytes.empty();
    *out = Bytes(bytes);
    return VELMORA_OK;
  }

  const std::shared_ptr<const Filtering> filtering;
  Sink sink;
  std::string piece;
  std::optional<ResponseFilter> filter;
  bool is_drained = true;
  bool is_at_end = false;
};

/// Keeps the texts that its result refers to.
struct velmora_request {
  explicit velmora_request(RequestDecision of) : decision(std::move(of)) {
    result.size = sizeof result;
    result.reason = result.url = "";
    if (decision.answer) {
      result.status = decision.answer->status;
      reason = decision.answer->reason;
      result.reason = reason.c_str();
      result.body = Bytes(decision.answer->body);
      for (const auto &[name, value] : decision.answer->headers) Add(name, value);
    } else if (decision.change) {
      result.url = decision.change->url.c_str();
      if (const auto &[name, value] = decision.change->header; !name.empty()) Add(name, value);
    }
    for (const auto &[name, value] : texts) headers.push_back({name.c_str(), value.c_str()});
    result.headers = headers.data();
    result.header_count = headers.size();
  }
  velmora_request(const velmora_request &) = delete;
  velmora_request &operator=(const velmora_request &) = delete;

  void Add(std::string_view name, std::string_view value) { texts.emplace_back(name, value); }

  const RequestDecision decision;
  std::string reason;
  std::vector<std::pair<std::string, std::string>> texts;
  std::vector<velmora_header> headers;
  velmora_request_answer result{};
};

namespace {

/// The headers that a caller gives, in whatever order.
class GivenHeaders final : public RequestHeaders {
 public:
  explicit GivenHeaders(const velmora_request_head &head)
      : headers_(head.headers, head.headers == nullptr ? 0 : head.header_count) {}

  std::string_view Value(RequestHeader header) const override {
    const std::string_view name = REQUEST_HEADER_NAMES[IndexOf(header)];
    const auto found = std::ranges::find_if(headers_, [&](const velmora_header &given) {
      return velmora::base::EqualNoCase(name, View(given.name));
    });
    return found == headers_.end() ? std::string_view() : View(found->value);
  }

 private:
  const std::span<const velmora_header> headers_;
};

RequestDecision Judged(const Filtering &filtering, const velmora_request_head &given) {
  const GivenHeaders headers(given);
  return JudgeRequest(filtering, {.method = View(given.method),
                                  .url = View(given.url),
                                  .who = {.client = View(given.client),
                                          .user = View(given.user),
                                          .groups = View(given.groups)},
                                  .has_body = given.has_body != 0,
                                  .headers = headers});
}

}  // namespace

const char *velmora_describe(velmora_code code) noexcept {
  switch (code) {
    case VELMORA_OK:
      return "all is well";
    case VELMORA_UNTOUCHED:
      return "the response goes on as it is";
    case VELMORA_FAILED:
      return "the body is broken off";
    case VELMORA_INVALID_ARGUMENT:
      return "invalid argument";
    case VELMORA_OUT_OF_MEMORY:
      return "out of memory";
    case VELMORA_CANNOT_LOAD:
      return "the plug-in or the ad-blocking library cannot be loaded";
    case VELMORA_BAD_POLICY:
      return "the policy file cannot be used";
    case VELMORA_ERROR:
      break;
  }
  return "something went wrong";
}

const char *velmora_host_version() noexcept {
  return VELMORA_VERSION;
}

int velmora_host_api() noexcept {
  return VELMORA_HOST_API;
}

const char *const *velmora_host_stale_headers() noexcept {
  static constexpr auto names = [] {
    std::array<const char *, std::size(STALE_HEADERS) + 1> list{};
    std::ranges::copy(STALE_HEADERS, list.begin());
    return list;
  }();
  return names.data();
}

const char *const *velmora_host_request_headers() noexcept {
  static constexpr auto names = [] {
    std::array<const char *, std::size(REQUEST_HEADER_NAMES) + 1> list{};
    std::ranges::copy(REQUEST_HEADER_NAMES, list.begin());
    return list;
  }();
  return names.data();
}

velmora_code velmora_request_judge(const velmora_host *host, const velmora_request_head *head,
                                   velmora_request **request) noexcept {
  if (request != nullptr) *request = nullptr;
  return Caught([&] {
    if (host == nullptr || head == nullptr || request == nullptr) return VELMORA_INVALID_ARGUMENT;
    RequestDecision decision = Judged(*host->Current(), Known(*head));
    if (!decision.answer && !decision.change) return VELMORA_UNTOUCHED;
    *request = std::make_unique<velmora_request>(std::move(decision)).release();
    return VELMORA_OK;
  });
}

const velmora_request_answer *velmora_request_result(const velmora_request *request) noexcept {
  return request == nullptr ? nullptr : &request->result;
}

void velmora_request_end(velmora_request *request) noexcept {
  delete request;
}

velmora_code velmora_host_open(const velmora_host_options *options, velmora_host **host,
                               char *message, std::size_t message_size) noexcept {
  if (host != nullptr) *host = nullptr;
  return Caught(
      [&] {
        if (options == nullptr || host == nullptr) throw std::invalid_argument("a null pointer");
        FilterFiles files = Files(Known(*options));
        auto filtering = StartFiltering(files);
        *host = std::make_unique<velmora_host>(std::move(files), std::move(filtering)).release();
        return VELMORA_OK;
      },
      message, message_size);
}

velmora_code velmora_host_renew(velmora_host *host, char *message,
                                std::size_t message_size) noexcept {
  return Caught(
      [&] {
        if (host == nullptr) throw std::invalid_argument("a null pointer");
        host->Renew();
        return VELMORA_OK;
      },
      message, message_size);
}

void velmora_host_close(velmora_host *host) noexcept {
  delete host;
}

velmora_code velmora_response_begin(const velmora_host *host, const velmora_response_head *head,
                                    velmora_event_callback on_event, void *user,
                                    velmora_response **response) noexcept {
  if (response != nullptr) *response = nullptr;
  return Caught([&] {
    if (host == nullptr || head == nullptr || response == nullptr) return VELMORA_INVALID_ARGUMENT;
    auto made = std::make_unique<velmora_response>(host->Current(), on_event, user);
    const bool is_wanted = made->Begin(Known(*head));
    if (made->HasFailed()) return VELMORA_FAILED;
    if (!is_wanted) return VELMORA_UNTOUCHED;
    *response = made.release();
    return VELMORA_OK;
  });
}

const char *velmora_response_security_policy(const velmora_host *host,
                                             const velmora_response_head *head) noexcept {
  std::string_view policy;
  if (host == nullptr || head == nullptr) return "";
  Caught([&] {
    const auto filtering = host->Current();
    policy = filtering->policy.SecurityPolicyFor(AnswerTo(filtering->policy, Known(*head)));
    return VELMORA_OK;
  });
  return policy.empty() ? "" : policy.data();
}

const char *velmora_response_coding(const velmora_response *response) noexcept {
  const bool is_gzip = response != nullptr && response->filter->SentCoding() == ContentCoding::GZIP;
  return is_gzip ? "gzip" : "";
}

velmora_code velmora_response_push(velmora_response *response, const void *piece, std::size_t size,
                                   velmora_bytes *out) noexcept {
  if (out != nullptr) *out = {};
  if (response == nullptr || out == nullptr || (piece == nullptr && size != 0)) {
    return VELMORA_INVALID_ARGUMENT;
  }
  return response->Take({static_cast<const char *>(piece), size}, false, out);
}

velmora_code velmora_response_next(velmora_response *response, velmora_bytes *out) noexcept {
  if (out != nullptr) *out = {};
  if (response == nullptr || out == nullptr) return VELMORA_INVALID_ARGUMENT;
  return response->Give(response->filter->Next(), out);
}

velmora_code velmora_response_finish(velmora_response *response, velmora_bytes *out) noexcept {
  if (out != nullptr) *out = {};
  if (response == nullptr || out == nullptr) return VELMORA_INVALID_ARGUMENT;
  return response->Take({}, true, out);
}

void velmora_response_abort(velmora_response *response) noexcept {
  if (response != nullptr) response->filter->Abort();
}

void velmora_response_end(velmora_response *response) noexcept {
  delete response;
}
