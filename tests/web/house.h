// House: a web page about a policy and an event log of its own.
#pragma once

#include <string>

#include "support/temporary_directory.h"
#include "web/passwords.h"
#include "web/site.h"

namespace velmora::web {

inline constexpr char VIEWER[] = "looks at it all";
inline constexpr char CHANGER[] = "changes it too";

class House {
 public:
  House() {
    folder_.Write(
        "velmora.toml",
        "[filter]\nblock = \"calm\"\n[ads]\nlists = \"ads.txt\"\n[event-log]\nfile = "
        "\"events\"\n[[rule]]\nname = \"<b>Kids</b>\"\nclients = \"192.0.2.0/24\"\nblock = "
        "\"flash\"\n[[group]]\nname = \"pupils\"\nclients = \"192.0.2.0/24\"\n");
    folder_.Write("ads.txt", "! Title: <i>Ads</i>\n||ads.example^\n");
    options_.policy = folder_.path() + "/velmora.toml";
    options_.proxy = "127.0.0.1:3128";
    options_.names = {"Filter.Home"};
    options_.passwords = folder_.path() + "/passwords";
  }

  SiteOptions &Options() { return options_; }
  std::string Read(const std::string &name) const { return folder_.Read(name); }
  void Write(const std::string &name, const std::string &text) const { folder_.Write(name, text); }
  const std::string &Folder() const { return folder_.path(); }

 private:
  testing::TemporaryDirectory folder_;
  SiteOptions options_{};
};

inline Request Get(std::string path, std::string cookie = {}) {
  return {.method = "GET",
          .path = std::move(path),
          .host = "localhost:3180",
          .cookie = std::move(cookie),
          .client = "127.0.0.1"};
}

inline std::string Header(const Response &response, std::string_view name) {
  for (const auto &[header, value] : response.headers) {
    if (header == name) return value;
  }
  return {};
}

/// The form with a password.
inline Request LoginForm(std::string password) {
  Request request = Get("/login");
  request.method = "POST";
  request.fields["password"] = std::move(password);
  return request;
}

/// A browser that is logged in.
class Visitor {
 public:
  /// Logs in with the password.
  Visitor(Site &site, std::string password) : Visitor(site, LoginForm(std::move(password))) {}
  /// Sends a form, or follows a link, that logs in.
  Visitor(Site &site, const Request &start) : site_(site), login_(site.Answer(start)) {
    const std::string cookie = Header(login_, "Set-Cookie");
    cookie_ = cookie.substr(0, cookie.find(';'));
  }

  const Response &Login() const { return login_; }
  const std::string &Cookie() const { return cookie_; }
  Response Open(std::string path, std::string_view field = {}, std::string value = {}) const {
    Request request = Get(std::move(path), cookie_);
    if (!field.empty()) request.fields.emplace(field, std::move(value));
    return site_.Answer(request);
  }
  /// The form as the page would send it.
  Request Sent(std::string path, std::map<std::string, std::string, std::less<>> fields) const {
    Request request = Get(std::move(path), cookie_);
    request.method = "POST";
    request.fields = std::move(fields);
    request.fields["form"] = FormWord();
    return request;
  }

 private:
  std::string FormWord() const {
    constexpr std::string_view BEFORE = "name=\"form\" value=\"";
    const std::string page = Open("/allowed").body;
    const std::size_t at = page.find(BEFORE);
    if (at == page.npos) return {};
    const std::size_t begin = at + BEFORE.size();
    return page.substr(begin, page.find('"', begin) - begin);
  }

  Site &site_;
  Response login_;
  std::string cookie_;
};

/// One that followed the link for who started the page.
inline Visitor Welcome(Site &site) {
  Request start = Get("/start");
  start.fields["word"] = site.MakeStartWord();
  return {site, start};
}

}  // namespace velmora::web
