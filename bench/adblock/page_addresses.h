// The addresses that real pages name, for measuring and comparing.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velmora::bench {

struct PageAddress {
  std::string page_host;
  std::string address;
};

/// The absolute http and https addresses in attributes and scripts of the HTML files of a folder,
/// each once a page, with the host of the page that the file was made from. Or, of a file, what its
/// lines say: page host, tab, address.
std::vector<PageAddress> AddressesOfPages(const std::filesystem::path &place);

}  // namespace velmora::bench
