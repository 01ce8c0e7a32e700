#include "page_addresses.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "matcher/address.h"

namespace velmora::bench {
namespace {

std::string HostOf(std::string_view address) {
  return std::string(adblock::Address(address).Host());
}

/// An attribute's value without its character references, as far as addresses have them.
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
std::string PageHostOf(std::string_view html, const std::vector<std::string> &addresses) {
  for (const std::string_view mark : {"rel=\"canonical\"", "property=\"og:url\""}) {
    const std::size_t at = html.find(mark);
    if (at == std::string_view::npos) continue;
    const std::size_t start = html.rfind('<', at);
    const std::string_view tag = html.substr(start, html.find('>', at) - start);
    const std::size_t address = tag.find("http");
    if (address == std::string_view::npos) continue;
    const std::string_view rest = tag.substr(address);
    const std::string host = HostOf(rest.substr(0, adblock::AddressLength(rest)));
    if (!host.empty()) return host;
  }
  std::map<std::string, int> counts;
  for (const std::string &address : addresses) ++counts[HostOf(address)];
  const auto most =
      std::max_element(counts.begin(), counts.end(),
                       [](const auto &a, const auto &b) { return a.second < b.second; });
  return most == counts.end() ? "page.example" : most->first;
}

std::vector<std::string> AddressesIn(std::string_view html) {
  std::set<std::string> seen;
  std::vector<std::string> addresses;
  for (std::size_t at = html.find("//"); at != std::string_view::npos;) {
    std::size_t start = at;
    for (const std::string_view scheme : {"http:", "https:"}) {
      if (at >= scheme.size() && html.substr(at - scheme.size(), scheme.size()) == scheme) {
        start = at - scheme.size();
      }
    }
    // An address without a scheme is only taken where a quote opens it.
    const bool quoted = at > 0 && (html[at - 1] == '"' || html[at - 1] == '\'');
    const std::size_t length =
        start < at || quoted ? adblock::AddressLength(html.substr(start)) : 0;
    if (length > 0) {
      std::string address = start == at ? "https:" : "";
      address += Decoded(html.substr(start, length));
      const std::string host = HostOf(address);
      if (host.find('.') != std::string::npos && seen.insert(address).second) {
        addresses.push_back(std::move(address));
      }
    }
    at = html.find("//", std::max(at + 2, start + length));
  }
  return addresses;
}

std::vector<PageAddress> AddressesInTable(const std::filesystem::path &file) {
  std::vector<PageAddress> all;
  std::ifstream in(file, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) continue;
    all.push_back({line.substr(0, tab), line.substr(tab + 1)});
  }
  return all;
}

}  // namespace

std::vector<PageAddress> AddressesOfPages(const std::filesystem::path &place) {
  if (std::filesystem::is_regular_file(place)) return AddressesInTable(place);
  std::vector<std::filesystem::path> files;
  for (const auto &entry : std::filesystem::directory_iterator(place)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<PageAddress> all;
  for (const auto &file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string html{std::istreambuf_iterator<char>(in), {}};
    const std::vector<std::string> addresses = AddressesIn(html);
    const std::string host = PageHostOf(html, addresses);
    for (const std::string &address : addresses) all.push_back({host, address});
  }
  return all;
}

}  // namespace velmora::bench
