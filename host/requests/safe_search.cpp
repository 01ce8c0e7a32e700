#include "host/requests/safe_search.h"

#include <algorithm>
#include <initializer_list>

#include "base/ascii.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

struct Engine {
  bool (*has)(std::string_view host) noexcept;
  /// Field and value of a search's query; empty: there is none.
  std::string_view field{};
  std::string_view value{};
  /// Hosts for tunnels.
  std::string_view moderate_host;
  std::string_view full_host;
  /// Header of every request; empty: none.
  std::string_view header{};
};

constexpr bool IsOneOf(std::string_view host,
                       std::initializer_list<std::string_view> hosts) noexcept {
  return std::ranges::find(hosts, host) != hosts.end();
}

/// "google.com", "www.google.co.uk", "images.google.de".
bool IsGoogle(std::string_view host) noexcept {
  for (const std::string_view begin : {"www.", "images."}) {
    if (host.starts_with(begin)) host.remove_prefix(begin.size());
  }
  if (!host.starts_with("google.")) return false;
  host.remove_prefix(7);
  for (const std::string_view second : {"com.", "co."}) {
    if (host.starts_with(second)) host.remove_prefix(second.size());
  }
  return host == "com" || host == "cat" ||
         (host.size() == 2 && std::ranges::all_of(host, base::IsLetterAscii));
}

constexpr Engine ENGINES[] = {
    {.has = IsGoogle,
     .field = "safe",
     .value = "active",
     .moderate_host = "forcesafesearch.google.com",
     .full_host = "forcesafesearch.google.com"},
    {.has =
         [](std::string_view host) noexcept {
           return IsOneOf(host, {"www.bing.com", "bing.com", "cn.bing.com"});
         },
     .field = "adlt",
     .value = "strict",
     .moderate_host = "strict.bing.com",
     .full_host = "strict.bing.com"},
    {.has =
         [](std::string_view host) noexcept {
           return IsOneOf(host, {"duckduckgo.com", "www.duckduckgo.com", "start.duckduckgo.com",
                                 "html.duckduckgo.com", "lite.duckduckgo.com"});
         },
     .field = "kp",
     .value = "1",
     .moderate_host = "safe.duckduckgo.com",
     .full_host = "safe.duckduckgo.com"},
    {.has =
         [](std::string_view host) noexcept {
           return IsOneOf(host, {"www.youtube.com", "m.youtube.com", "youtubei.googleapis.com",
                                 "youtube.googleapis.com", "www.youtube-nocookie.com"});
         },
     .moderate_host = "restrictmoderate.youtube.com",
     .full_host = "restrict.youtube.com",
     .header = "YouTube-Restrict"},
};

bool HasField(std::string_view pair, std::string_view field) noexcept {
  return pair.substr(0, pair.find('=')) == field;
}

/// The URL of a search with the engine's field in the place of all of that name; empty for no
/// search, and for one that has it so already.
std::string WithField(std::string_view url, const Engine &engine) {
  const std::size_t mark = url.find('?');
  if (mark == url.npos) return {};
  std::string_view rest = url.substr(mark + 1);
  std::string_view fragment;
  if (const std::size_t hash = rest.find('#'); hash != rest.npos) {
    fragment = rest.substr(hash);
    rest = rest.substr(0, hash);
  }
  std::string changed(url.substr(0, mark + 1));
  bool is_search = false;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('&'), rest.size());
    const std::string_view pair = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    is_search |= HasField(pair, "q");
    if (!HasField(pair, engine.field)) changed.append(pair).push_back('&');
  }
  if (!is_search) return {};
  changed.append(engine.field).append("=").append(engine.value).append(fragment);
  return changed == url ? std::string() : changed;
}

}  // namespace

std::optional<RequestChange> SafeSearchFor(SafeSearch wanted, std::string_view method,
                                           std::string_view url) {
  if (wanted == SafeSearch::OFF) return std::nullopt;
  const bool is_tunnel = method == "CONNECT";
  const std::string site = is_tunnel ? std::string("https://").append(url) : std::string(url);
  const std::string host = HostOfUrl(site);
  const auto engine =
      std::ranges::find_if(ENGINES, [&](const Engine &entry) { return entry.has(host); });
  if (engine == std::end(ENGINES)) return std::nullopt;
  RequestChange change;
  const bool is_full = wanted == SafeSearch::FULL;
  if (is_tunnel) {
    change.url = is_full ? engine->full_host : engine->moderate_host;
    change.url += url.substr(url.rfind(':'));
  } else if (!engine->field.empty()) {
    change.url = WithField(url, *engine);
  } else {
    change.header = {engine->header, is_full ? "Strict" : "Moderate"};
  }
  if (change.url.empty() && change.header.first.empty()) return std::nullopt;
  return change;
}

}  // namespace velmora::host
