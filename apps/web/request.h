// What a browser asks of the web page and what it gets, apart from how they travel.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::web {

struct Request {
  /// "GET" or "POST".
  std::string method{};
  /// Decoded, without the query.
  std::string path{};
  /// Of the query, or of a form that was sent.
  std::map<std::string, std::string, std::less<>> fields{};
  /// Headers, empty where there is none.
  std::string host{};
  std::string origin{};
  std::string fetch_site{};
  std::string cookie{};
  /// The address that it comes from; empty with a Unix socket.
  std::string client{};
  bool is_encrypted = false;

  std::string_view Field(std::string_view name) const {
    const auto found = fields.find(name);
    return found == fields.end() ? std::string_view() : found->second;
  }
};

struct Response {
  int status = 200;
  std::string type = "text/html; charset=utf-8";
  std::string body{};
  std::vector<std::pair<std::string, std::string>> headers{};
};

/// After a form: the browser goes on to that path.
inline Response GoTo(std::string path) {
  return {.status = 303, .headers = {{"Location", std::move(path)}}};
}

}  // namespace velmora::web
