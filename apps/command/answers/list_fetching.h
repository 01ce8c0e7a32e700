// Fetches ad lists from the web, each only when it is another than the one that is there, and takes
// none that looks like a mistake.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::command {

/// What is known of a fetched list beside its text; kept in a file beside it.
struct FetchRecord {
  using Time = std::chrono::system_clock::time_point;

  std::string url{};
  /// What the server said, to be asked about the next time; may be empty.
  std::string etag{};
  std::string modified{};
  /// When the server last said that this is its newest.
  std::optional<Time> checked{};
};

/// Empty where there is none that can be read.
FetchRecord ReadFetchRecord(const std::filesystem::path &list);

/// What a list says of itself in its first lines; empty and none where it does not.
struct ListHead {
  std::string title{};
  std::optional<std::chrono::hours> expires{};
};
ListHead ReadListHead(std::string_view text);

struct FetchOptions {
  /// A URL; empty: what the environment says (`http_proxy`, `https_proxy`).
  std::string proxy{};
  /// Whatever the environment says, none.
  bool is_direct = false;
  /// A list is taken though it has far fewer rules than the one before.
  bool takes_less = false;
};

struct FetchResult {
  enum class Kind { NEW, UNCHANGED, REFUSED };

  Kind kind = Kind::REFUSED;
  /// Why it was not taken.
  std::string reason{};
  std::uint32_t rules = 0;
  /// In the list before; none when there was none.
  std::optional<std::uint32_t> rules_before{};
};

/// Brings the file up to date; it is replaced as a whole or stays. Throws what files throw.
FetchResult FetchList(const std::string &url, const std::filesystem::path &file,
                      const FetchOptions &options);

}  // namespace velmora::command
