// Transaction: what a host tells the plug-in about one response, and where its reports go.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <velmora/data_context.h>
#include <velmora/trouble_listener.h>

#include "host/bodies/categories.h"
#include "host/bodies/host_owned.h"
#include "host/limits/limits.h"

namespace velmora::host {

/// An item that was blocked. The texts are the plug-in's, valid during the call; they come from the
/// page and may hold any bytes.
struct BlockedItem {
  std::int32_t category;
  std::string_view item;
  std::string_view detail;
};

/// Hears what happens in a transaction, on the thread that works on it. Sinks that wait hold up the
/// body.
class TransactionSink {
 public:
  virtual void OnBlocked(const BlockedItem &item) noexcept = 0;
  /// Filtering or decoding stopped before the body's end. Comes once at most for each of them.
  virtual void OnStopped(StopReason reason) noexcept = 0;

 protected:
  ~TransactionSink() = default;
};

struct TransactionInfo {
  /// Empty when unknown.
  std::string url{};
  /// Empty: taken from the URL.
  std::string host{};
  /// The Content-Type value with its parameters, those of several header lines with commas between
  /// them; none when the response has none.
  std::optional<std::string> content_type{};
  /// What is to be blocked.
  CategorySet categories{};
  /// Values of <velmora/data_context.h>'s settings, by name.
  std::map<std::string, std::string, std::less<>> settings{};
  /// Empty, or 8 bytes at least: the second word is a mask of category bits to leave alone.
  std::vector<std::uint8_t> option_block{};
};

/// Outlives the processor that it is given to, and its sink outlives it.
class Transaction final : public HostOwned<IDataContext> {
 public:
  Transaction(TransactionInfo info, TransactionSink &sink);

  /// The plug-in let something pass because it could not examine it.
  bool HasUnexamined() const noexcept { return trouble_.has_unexamined; }

  const TransactionInfo &Info() const noexcept { return info_; }
  // Before the first bytes go to the plug-in: what they say beyond the header.
  void SetContentType(std::string content_type) noexcept {
    info_.content_type = std::move(content_type);
  }
  void SetCategories(CategorySet categories) noexcept { info_.categories = categories; }
  void ReportStopped(StopReason reason) noexcept { sink_.OnStopped(reason); }

  const char *GetProperty(std::int32_t property) noexcept override;
  const char *GetSetting(const char *name) noexcept override;
  bool IsCategoryEnabled(std::int32_t category) noexcept override;
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override;
  void ReportBlocked(std::int32_t count, std::int32_t category, const char *item,
                     const char *detail) noexcept override;

 private:
  struct Trouble final : HostOwned<ITroubleListener> {
    void OnUnexamined() noexcept override { has_unexamined = true; }

    bool has_unexamined = false;
  };

  ICounted *OtherInterface(const Identifier &identifier) noexcept override {
    return identifier == ID_TroubleListener ? &trouble_ : nullptr;
  }

  Trouble trouble_;
  TransactionInfo info_;
  TransactionSink &sink_;
};

}  // namespace velmora::host
