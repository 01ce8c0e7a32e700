// The URLs that real pages name, for measuring and comparing.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace velmora::bench {

struct PageUrl {
  std::string page_host;
  std::string url;
};

/// The absolute http and https URLs in attributes and scripts of the HTML files of a folder,
/// each once a page, with the host of the page that the file was made from. Or, of a file, what its
/// lines say: page host, tab, URL.
std::vector<PageUrl> UrlsOfPages(const std::filesystem::path &place);

}  // namespace velmora::bench
