// What a thread has before it while it asks about one page: the page taken apart, and the last
// answers. Desks belong to the rules that have answered and go with them.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <string_view>

#include "answer_memory.h"
#include "page.h"
#include "thread_place.h"

namespace velmora::adblock {

struct Desk {
  static constexpr std::size_t MOST = 256;

  explicit Desk(std::string_view host) noexcept { Open(host); }

  bool IsFor(std::string_view host) const noexcept {
    return host == std::string_view(as_given, size);
  }
  /// For another page, of a host of no more than `MOST` bytes. Its keys are still to be found.
  void Open(std::string_view host) noexcept {
    size = host.size();
    host.copy(as_given, size);
    page.emplace(host);
    answers.Forget();
  }

  std::size_t size = 0;
  char as_given[MOST];
  std::optional<Page> page;
  AnswerMemory answers;
};

/// A desk for every thread, or nearly so: threads that share a place take turns, and one that finds
/// the desk taken goes without. Nobody waits.
class Desks {
 public:
  Desks() = default;
  ~Desks() {
    for (std::atomic<Desk *> &place : places_) delete place.load();
  }
  Desks(const Desks &) = delete;
  Desks &operator=(const Desks &) = delete;

  /// A desk that is held as long as this lives.
  class Held {
   public:
    explicit Held(Desks &desks) noexcept
        : place_(desks.places_[ThreadPlace() % desks.places_.size()]),
          desk_(place_.exchange(TAKEN, std::memory_order_acquire)) {}
    ~Held() {
      if (desk_ != TAKEN) place_.store(desk_, std::memory_order_release);
    }
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;

    /// The desk with a page of this host on it; null when there is none to be had.
    Desk *For(std::string_view host, const Image &image) noexcept {
      if (desk_ == TAKEN || host.size() > Desk::MOST) return nullptr;
      if (desk_ && desk_->IsFor(host)) return desk_;
      if (desk_) {
        desk_->Open(host);
      } else {
        desk_ = new (std::nothrow) Desk(host);
        if (!desk_) return nullptr;
      }
      desk_->page->FindKeys(image);
      return desk_;
    }

   private:
    std::atomic<Desk *> &place_;
    Desk *desk_;
  };

 private:
  static inline Desk *const TAKEN = reinterpret_cast<Desk *>(1);

  std::array<std::atomic<Desk *>, std::size_t{1} << 6> places_ = {};
};

}  // namespace velmora::adblock
