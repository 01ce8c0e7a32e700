// The host library for C++ programs: <velmora_host.h> with objects, exceptions and views.
//
//   velmora::Host host({.policy = "/etc/velmora/velmora.toml"});
//   auto response = host.Begin({.url = url, .content_type = type}, [](const auto &event) { ... });
//   if (!response) the response goes on as it is; otherwise, without the headers that do not hold,
//   for each piece that arrives:
//     for (auto out = response->Push(piece); !out.empty(); out = response->Next()) send(out);
//   for (auto out = response->Finish(); !out.empty(); out = response->Next()) send(out);
//   if (response->HasFailed()) break the response off;
//
//   if (auto answer = host.Judge({.url = url, .headers = headers})) the request is not made as it
//   is;
//
// It is compiled into the program that includes it, so that nothing of C++ crosses to the library:
// the two need not share a compiler or a standard library. C++17 and later.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <velmora_host.h>

namespace velmora {
inline namespace host_api_0 {

/// What the library cannot do. The text says what is wrong, for a bad policy in several lines.
class HostError : public std::runtime_error {
 public:
  HostError(velmora_code code, const std::string &what) : std::runtime_error(what), code_(code) {}

  velmora_code Code() const noexcept { return code_; }

 private:
  velmora_code code_;
};

/// Paths; an empty one is as `velmora_host_options` says.
struct HostOptions {
  std::string plugin{};
  std::string policy{};
  std::string event_log{};
};

/// As `velmora_response_head`; empty: not known, or no such header.
struct ResponseHead {
  int status = 0;
  std::string url{};
  std::string client{};
  std::string content_type{};
  std::string content_encoding{};
  std::string accept_encoding{};
  std::string range{};
  std::string user{};
  std::string groups{};
  /// Categories in the place of the policy's: "ads,popups".
  std::optional<std::string> block{};
};

/// Valid during the call that brings it.
struct HostEvent {
  velmora_event_kind kind;
  std::int32_t category;
  std::string_view category_name;
  std::string_view item;
  std::string_view detail;
  std::string_view reason;
  /// Of the element that was blocked, in the body as it came, content codings taken off.
  std::optional<std::uint64_t> offset{};
  std::string_view address{};
};

/// As `velmora_request_head`.
struct RequestHead {
  std::string method = "GET";
  std::string url{};
  std::string client{};
  std::string user{};
  std::string groups{};
  bool has_body = false;
  std::vector<std::pair<std::string, std::string>> headers{};
};

/// What is to become of a request that is not made as it is.
struct RequestAnswer {
  /// To answer with in its place; 0: it is made, with what is changed.
  int status = 0;
  std::string reason{};
  /// Of the answer, or to be set in the request.
  std::vector<std::pair<std::string, std::string>> headers{};
  std::string body{};
  /// In the place of the request's; empty: that stays.
  std::string url{};
};

/// Hears of events, on the thread that works on the response. What it throws comes out of the call
/// that caused the event, when that is done.
using HostListener = std::function<void(const HostEvent &)>;

/// One response's body on its way. One thread at a time. Throws `HostError`, and `std::bad_alloc`
/// when memory cannot be had.
class HostResponse {
 public:
  /// "gzip", or empty for none.
  std::string_view Coding() const noexcept { return velmora_response_coding(response_.get()); }

  /// The next piece, which is copied; answers the first bytes that may go on, as `Next` does. All
  /// of an earlier piece has come out.
  std::string_view Push(std::string_view piece) {
    velmora_bytes out;
    return Taken(velmora_response_push(response_.get(), piece.data(), piece.size(), &out), out);
  }
  /// The next bytes that may go on; empty: none for now. They are valid until the next call.
  std::string_view Next() {
    velmora_bytes out;
    return Taken(velmora_response_next(response_.get(), &out), out);
  }
  /// The body is at its end.
  std::string_view Finish() {
    velmora_bytes out;
    return Taken(velmora_response_finish(response_.get(), &out), out);
  }
  /// The body broke off: what is held back is dropped.
  void Abort() noexcept {
    velmora_response_abort(response_.get());
    has_failed_ = true;
  }
  /// The body is broken off, and the client is to see it; no more bytes come.
  bool HasFailed() const noexcept { return has_failed_; }

 private:
  friend class Host;

  struct Hearing {
    HostListener listener;
    std::exception_ptr thrown{};
  };
  struct Ender {
    void operator()(velmora_response *response) const noexcept { velmora_response_end(response); }
  };

  HostResponse() = default;

  static void Hear(void *user, const velmora_event *event) noexcept {
    auto *const hearing = static_cast<Hearing *>(user);
    if (!hearing->listener || hearing->thrown) return;
    try {
      HostEvent heard{event->kind,
                      event->category,
                      event->category_name,
                      {event->item.data, event->item.size},
                      {event->detail.data, event->detail.size},
                      event->reason};
      // A library that is older than this says less.
      if (event->size >= sizeof(velmora_event)) {
        if (event->offset >= 0) heard.offset = static_cast<std::uint64_t>(event->offset);
        heard.address = {event->address.data, event->address.size};
      }
      hearing->listener(heard);
    } catch (...) {
      hearing->thrown = std::current_exception();
    }
  }

  void Check(velmora_code code) {
    if (hearing_->thrown) std::rethrow_exception(std::exchange(hearing_->thrown, nullptr));
    if (code == VELMORA_FAILED) has_failed_ = true;
    if (code == VELMORA_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code > VELMORA_FAILED) throw HostError(code, velmora_describe(code));
  }
  std::string_view Taken(velmora_code code, const velmora_bytes &out) {
    Check(code);
    return {out.data, out.size};
  }

  std::unique_ptr<Hearing> hearing_ = std::make_unique<Hearing>();
  std::unique_ptr<velmora_response, Ender> response_;
  bool has_failed_ = false;
};

/// The plug-in with a policy. Any number of threads use it at once; responses may outlive it.
class Host {
 public:
  /// Throws `HostError`.
  explicit Host(const HostOptions &options = {}) {
    velmora_host_options given = VELMORA_HOST_OPTIONS_INIT;
    given.plugin = options.plugin.c_str();
    given.policy = options.policy.c_str();
    given.event_log = options.event_log.c_str();
    velmora_host *host = nullptr;
    char message[MOST_MESSAGE];
    const velmora_code code = velmora_host_open(&given, &host, message, sizeof message);
    host_.reset(host);
    if (code != VELMORA_OK) throw HostError(code, message);
  }

  /// Reads policy and lists anew, and opens the log again. Throws `HostError`; then all stays as it
  /// was.
  void Renew() {
    char message[MOST_MESSAGE];
    const velmora_code code = velmora_host_renew(host_.get(), message, sizeof message);
    if (code != VELMORA_OK) throw HostError(code, message);
  }

  /// None: the response goes on as it is. Throws `HostError` with the code `VELMORA_FAILED` when
  /// the body must not go on at all.
  std::optional<HostResponse> Begin(const ResponseHead &head, HostListener listener = {}) const {
    const velmora_response_head given = Given(head);
    HostResponse response;
    response.hearing_->listener = std::move(listener);
    velmora_response *begun = nullptr;
    const velmora_code code = velmora_response_begin(host_.get(), &given, HostResponse::Hear,
                                                     response.hearing_.get(), &begun);
    response.response_.reset(begun);
    response.Check(code);
    if (code == VELMORA_FAILED) throw HostError(code, velmora_describe(code));
    if (code == VELMORA_UNTOUCHED) return std::nullopt;
    return response;
  }

  /// None: the request is made as it is. Throws `HostError`, and `std::bad_alloc`.
  std::optional<RequestAnswer> Judge(const RequestHead &head) const {
    velmora_request_head given = VELMORA_REQUEST_HEAD_INIT;
    given.method = head.method.c_str();
    given.url = head.url.c_str();
    given.client = head.client.c_str();
    given.user = head.user.c_str();
    given.groups = head.groups.c_str();
    given.has_body = head.has_body ? 1 : 0;
    std::vector<velmora_header> headers;
    for (const auto &[name, value] : head.headers) headers.push_back({name.c_str(), value.c_str()});
    given.headers = headers.data();
    given.header_count = headers.size();
    velmora_request *judged = nullptr;
    const velmora_code code = velmora_request_judge(host_.get(), &given, &judged);
    const std::unique_ptr<velmora_request, RequestEnder> request(judged);
    if (code == VELMORA_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code > VELMORA_FAILED) throw HostError(code, velmora_describe(code));
    if (request == nullptr) return std::nullopt;
    const velmora_request_answer &result = *velmora_request_result(request.get());
    RequestAnswer answer{result.status, result.reason, {}, {}, result.url};
    if (result.body.size != 0) answer.body.assign(result.body.data, result.body.size);
    for (std::size_t i = 0; i < result.header_count; ++i) {
      answer.headers.emplace_back(result.headers[i].name, result.headers[i].value);
    }
    return answer;
  }

  /// The Content-Security-Policy that the response goes out with beside its own, filtered or not;
  /// empty for none.
  std::string_view SecurityPolicy(const ResponseHead &head) const noexcept {
    const velmora_response_head given = Given(head);
    return velmora_response_security_policy(host_.get(), &given);
  }

 private:
  static constexpr std::size_t MOST_MESSAGE = 4096;

  static velmora_response_head Given(const ResponseHead &head) noexcept {
    velmora_response_head given = VELMORA_RESPONSE_HEAD_INIT;
    given.status = head.status;
    given.url = head.url.c_str();
    given.client = head.client.c_str();
    given.content_type = head.content_type.c_str();
    given.content_encoding = head.content_encoding.c_str();
    given.accept_encoding = head.accept_encoding.c_str();
    given.range = head.range.c_str();
    given.user = head.user.c_str();
    given.groups = head.groups.c_str();
    if (head.block) given.block = head.block->c_str();
    return given;
  }

  struct RequestEnder {
    void operator()(velmora_request *request) const noexcept { velmora_request_end(request); }
  };
  struct Closer {
    void operator()(velmora_host *host) const noexcept { velmora_host_close(host); }
  };
  std::unique_ptr<velmora_host, Closer> host_;
};

}  // namespace host_api_0
}  // namespace velmora
