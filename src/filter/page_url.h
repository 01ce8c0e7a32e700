// PageUrl: where a page is, and what its relative URLs are in full.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora {

/// A page may have any number of links and a BASE of any length, so what the full URLs have in
/// common is put together once: a URL costs what it is long as it stands in the page.
class PageUrl {
 public:
  /// The page at `url`, on `host`.
  PageUrl(std::string_view host, std::string_view url);

  const std::string &host() const noexcept { return host_; }
  void SetHost(std::string_view host);
  void SetUrl(std::string_view url);

  /// `url` as it stands on the page, in full. "http:", "mailto:" and "javascript:" URLs are
  /// complete; every other one, those with another scheme included, is taken as relative. "." and
  /// ".." are not resolved. Good until the next call.
  const std::string &MakeAbsolute(std::string_view url);

 private:
  /// What URLs begin with, and after it what the last of them goes on with.
  class Beginning {
   public:
    void Set(std::string_view first, std::string_view second = {});
    const std::string &With(std::string_view rest);

   private:
    std::string text_;
    std::size_t size_ = 0;
  };

  std::string host_;
  /// For complete URLs and those that nothing can be put before.
  Beginning nothing_;
  Beginning scheme_;
  Beginning site_;
  /// The page's URL up to its last slash; nothing when it has none.
  Beginning folder_;
};

}  // namespace velmora
