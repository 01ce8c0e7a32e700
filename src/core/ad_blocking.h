// The process's ad-blocking library, as the filters see it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include <velmora/ad_blocker.h>

namespace velmora {

/// Asks a library's object, or answers "no" to everything when there is none. Callable from any
/// thread, also while another closes; takes no locks.
class AdBlocking {
 public:
  /// Unbound.
  AdBlocking() = default;
  /// Takes over the caller's reference to `library`; null means unbound.
  explicit AdBlocking(IAdBlocker *library) noexcept : library_(library), owned_(library) {}
  AdBlocking(const AdBlocking &) = delete;
  AdBlocking &operator=(const AdBlocking &) = delete;
  ~AdBlocking() { Close(); }

  /// Unbound from here on. The object is released at once, or after the last question under way.
  void Close() noexcept;
  bool IsBound() const noexcept { return library_.load() != nullptr; }

  /// The library's answer; of exactly 1, its reason is copied to `reason`, which else stays as it
  /// is. `exempt` is set when the URL is expressly allowed, never cleared.
  std::uint8_t CheckUrl(const std::string &host, const std::string &url, std::string &reason,
                        bool &exempt) const;
  bool CheckSize(const char *host, std::int32_t width, std::int32_t height) const noexcept;
  void CheckLink(const std::string &link, const std::string &host,
                 const std::string &text) const noexcept;

 private:
  friend class AdLibraryUse;
  void Enter() const noexcept { users_.fetch_add(1); }
  void Leave() const noexcept;

  /// What questions go to.
  std::atomic<IAdBlocker *> library_{nullptr};
  /// What the last user releases.
  mutable std::atomic<IAdBlocker *> owned_{nullptr};
  /// The binding itself, and every `AdLibraryUse`.
  mutable std::atomic<std::int32_t> users_{1};
};

/// A use of the library's object, for one question or for many: it is not released before.
class AdLibraryUse {
 public:
  explicit AdLibraryUse(const AdBlocking &ads) noexcept : ads_(ads) {
    // Counted before it looks, so that an object it finds is still there.
    ads_.Enter();
    library_ = ads_.library_.load();
  }
  AdLibraryUse(const AdLibraryUse &) = delete;
  AdLibraryUse &operator=(const AdLibraryUse &) = delete;
  ~AdLibraryUse() { ads_.Leave(); }

  /// Null when unbound.
  IAdBlocker *get() const noexcept { return library_; }
  explicit operator bool() const noexcept { return library_ != nullptr; }
  IAdBlocker *operator->() const noexcept { return library_; }

 private:
  const AdBlocking &ads_;
  IAdBlocker *library_;
};

/// Asks a library about `text`, about what follows its first byte, its second, and so on, `count`
/// questions at most (no more than it has bytes): until an answer is not 0 or `exempt` is set.
/// Returns how many questions that were; `answer` and `reason` are the last one's, as with
/// `AdBlocking::CheckUrl`.
std::size_t CheckUrlText(IAdBlocker &library, const char *host, std::string_view text,
                         std::size_t count, std::uint8_t &answer, std::string &reason,
                         bool &exempt);

}  // namespace velmora
