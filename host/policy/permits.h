// Permits: what a block page offers, signed, so that only the client to which it was shown can take
// it up, for that URL, soon, and once.
//
// Processes that serve one client by turns share a folder: the key lies in it, and what was taken
// up, an empty file each, for as long as its permit would be good.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "base/mutex.h"

namespace velmora::host {

/// Who may do what.
struct Permission {
  /// One word.
  std::string_view action{};
  std::string_view client{};
  std::string_view url{};
};

/// Any number of threads use it at once.
class Permits {
 public:
  using Clock = std::chrono::system_clock;
  /// How long an offer stands, and how long what was opened may be fetched.
  static constexpr std::chrono::seconds LIFETIME{600};
  static constexpr std::chrono::seconds OPENING{30};

  /// The folder need not be there yet; an empty path: nothing is offered.
  explicit Permits(std::filesystem::path folder) : folder_(std::move(folder)) {}

  const std::filesystem::path &Folder() const noexcept { return folder_; }
  /// Letters, digits and "-". Throws `std::system_error` when the folder cannot be used.
  std::string Offer(const Permission &permission, Clock::time_point now = Clock::now());
  /// Is it one that was offered, and not taken up before? It is now. Throws the same.
  bool Take(const Permission &permission, std::string_view permit,
            Clock::time_point now = Clock::now());

  /// The client may fetch the URL once. Throws the same.
  void Open(std::string_view client, std::string_view url);
  /// May it? If so, not again.
  bool TakeOpened(std::string_view client, std::string_view url,
                  Clock::time_point now = Clock::now()) noexcept;

 private:
  std::string Signature(const Permission &permission, std::string_view expiry);
  const std::string &Key() VELMORA_REQUIRES(mutex_);
  std::filesystem::path Mark(std::string_view kind, const Permission &permission,
                             std::string_view expiry);
  /// Makes an empty file; false when it is there already.
  static bool Make(const std::filesystem::path &file);
  /// Files of permits that are no longer good.
  void Sweep(Clock::time_point now) const noexcept;

  const std::filesystem::path folder_;
  base::Mutex mutex_;
  std::string key_ VELMORA_GUARDED_BY(mutex_);
};

}  // namespace velmora::host
