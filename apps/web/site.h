// Site: answers every request of the web page, or says why not.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "web/attempts.h"
#include "web/event_feed.h"
#include "web/list_update.h"
#include "web/request.h"
#include "web/sessions.h"

namespace velmora::web {

struct SiteOptions {
  /// The policy's file, which names the event log and the state folder.
  std::filesystem::path policy{};
  /// The event log; empty: the one that the policy names.
  std::filesystem::path log{};
  /// The proxy that the pages are about, "HOST:PORT".
  std::string proxy{};
  /// The certificate with which it looks into encrypted traffic; empty or not there: it does not.
  std::filesystem::path authority{};
  /// Names by which the page is known beside "localhost" and addresses.
  std::vector<std::string> names{};
  /// Empty: `velmora.passwords` in the policy's state folder.
  std::filesystem::path passwords{};
};

/// Where the passwords lie. Throws what reading the policy throws.
std::filesystem::path PasswordsOf(const SiteOptions &options);

/// What a page is made from.
struct Visit {
  const SiteOptions &options;
  ListUpdate &list_update;
  EventFeed &events;
  const Request &request;
  const Session &session;
};

/// Any number of threads use it at once.
class Site {
 public:
  explicit Site(SiteOptions options) : options_(std::move(options)) {}

  /// A word for a link that logs in whoever follows it, once, for role `CHANGE`: for the person who
  /// started the page and reads what it prints. One that is not used stays good.
  std::string MakeStartWord();

  Response Answer(const Request &request) noexcept;

 private:
  Response AnswerAllowed(const Request &request);
  /// A page that says why there is no other.
  Response Refuse(const Request &request, int status, std::string_view why);
  Response LogIn(const Request &request);
  Response LogOut(const Request &request);
  /// By the link.
  Response Start(const Request &request);
  bool TakeStartWord(std::string_view word);

  const SiteOptions options_;
  Sessions sessions_;
  Attempts attempts_;
  ListUpdate list_update_;
  EventFeed events_;
  base::Mutex mutex_;
  std::string start_word_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::web
