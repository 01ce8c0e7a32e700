// Asked: who asks for what, and when.
#pragma once

#include <concepts>
#include <optional>
#include <string_view>

#include "host/policy/schedule.h"
#include "host/web/client_network.h"
#include "host/web/host_set.h"

namespace velmora::host {

/// A text, or what finds it: a proxy looks for it and copies it, which most questions do without.
/// Either is the caller's.
class ToldText {
 public:
  class Reader {
   public:
    /// The text is good for as long as this is.
    virtual std::string_view Read() const = 0;

   protected:
    ~Reader() = default;
  };

  ToldText() = default;
  // Whatever is a text already needs no word to say so.
  template <std::convertible_to<std::string_view> Text>
  ToldText(const Text &text) : text_(text) {}
  explicit ToldText(const Reader &reader) : reader_(&reader) {}

  operator std::string_view() const { return reader_ == nullptr ? text_ : reader_->Read(); }

 private:
  std::string_view text_{};
  const Reader *reader_ = nullptr;
};

/// Who asks, as far as the proxy knows. The texts are the caller's.
struct Asker {
  /// An IP address. An empty or unreadable one is a client that is not known.
  ToldText client{};
  /// Who has signed in to the proxy.
  std::string_view user{};
  /// Groups that the proxy's own configuration puts the client in, with commas between them.
  std::string_view groups{};
  /// What the clock of the policy shows; none: what it shows now.
  std::optional<MinuteOfWeek> minute{};
};

/// Parts are read when they matter, and once however many questions there are. The texts outlive
/// it; one thread's.
class Asked {
 public:
  Asked(std::string_view url, const Asker &who) noexcept : url_(url), who_(who) {}
  Asked(std::string_view url, std::string_view client) noexcept
      : Asked(url, Asker{.client = client}) {}

  const HostName &Site() const;
  const std::optional<ClientAddress> &Client() const;
  std::string_view User() const noexcept { return who_.user; }
  /// Does the proxy say that the client is in this group?
  bool IsSaidToBeIn(std::string_view group) const noexcept;
  /// What the clock shows.
  MinuteOfWeek Minute(const LocalClock &clock) const;

 private:
  std::string_view url_;
  Asker who_;
  mutable std::optional<HostName> site_;
  mutable std::optional<std::optional<ClientAddress>> client_;
  mutable std::optional<MinuteOfWeek> minute_;
};

}  // namespace velmora::host
