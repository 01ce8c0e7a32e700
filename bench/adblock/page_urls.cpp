#include "page_urls.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "matcher/url.h"

namespace velmora::bench {
namespace {

std::string HostOf(std::string_view url) {
  return std::string(adblock::Url(url).Host());
}

/// An attribute's value without its character references, as far as URLs have them.
std::string Decoded(std::string_view value) {
  constexpr std::string_view AMPERSAND = "&amp;";
  std::string decoded;
  while (true) {
    const std::size_t at = value.find(AMPERSAND);
    decoded += value.substr(0, at);
    if (at == std::string_view::npos) return decoded;
    decoded += '&';
    value.remove_prefix(at + AMPERSAND.size());
  }
}

/// The host that the page calls its own, else the one that it names most often.
std::string PageHostOf(std::string_view html, const std::vector<std::string> &urls) {
  for (const std::string_view mark : {"rel=\"canonical\"", "property=\"og:url\""}) {
    const std::size_t at = html.find(mark);
    if (at == std::string_view::npos) continue;
    const std::size_t start = html.rfind('<', at);
    const std::string_view tag = html.substr(start, html.find('>', at) - start);
    const std::size_t url = tag.find("http");
    if (url == std::string_view::npos) continue;
    const std::string_view rest = tag.substr(url);
    const std::string host = HostOf(rest.substr(0, adblock::UrlLength(rest)));
    if (!host.empty()) return host;
  }
  std::map<std::string, int> counts;
  for (const std::string &url : urls) ++counts[HostOf(url)];
  const auto most =
      std::max_element(counts.begin(), counts.end(),
                       [](const auto &a, const auto &b) { return a.second < b.second; });
  return most == counts.end() ? "page.example" : most->first;
}

std::vector<std::string> UrlsIn(std::string_view html) {
  std::set<std::string> seen;
  std::vector<std::string> urls;
  for (std::size_t at = html.find("//"); at != std::string_view::npos;) {
    std::size_t start = at;
    for (const std::string_view scheme : {"http:", "https:"}) {
      if (at >= scheme.size() && html.substr(at - scheme.size(), scheme.size()) == scheme) {
        start = at - scheme.size();
      }
    }
    // A URL without a scheme is only taken where a quote opens it.
    const bool quoted = at > 0 && (html[at - 1] == '"' || html[at - 1] == '\'');
    const std::size_t length = start < at || quoted ? adblock::UrlLength(html.substr(start)) : 0;
    if (length > 0) {
      std::string url = start == at ? "https:" : "";
      url += Decoded(html.substr(start, length));
      const std::string host = HostOf(url);
      if (host.find('.') != std::string::npos && seen.insert(url).second) {
        urls.push_back(std::move(url));
      }
    }
    at = html.find("//", std::max(at + 2, start + length));
  }
  return urls;
}

std::vector<PageUrl> UrlsInTable(const std::filesystem::path &file) {
  std::vector<PageUrl> all;
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) continue;
    all.push_back({line.substr(0, tab), line.substr(tab + 1)});
  }
  return all;
}

}  // namespace

std::vector<PageUrl> UrlsOfPages(const std::filesystem::path &place) {
  if (std::filesystem::is_regular_file(place)) return UrlsInTable(place);
  std::vector<std::filesystem::path> files;
  for (const auto &entry : std::filesystem::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<PageUrl> all;
  for (const auto &file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string html{std::istreambuf_iterator<char>(in), {}};
    const std::vector<std::string> urls = UrlsIn(html);
    const std::string host = PageHostOf(html, urls);
    for (const std::string &url : urls) all.push_back({host, url});
  }
  return all;
}

}  // namespace velmora::bench
