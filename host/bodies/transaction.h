// Transaction: what a host tells the plug-in about one response, and where its reports go.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <velmora/ad_review.h>
#include <velmora/data_context.h>
#include <velmora/item_listener.h>
#include <velmora/page_listener.h>
#include <velmora/page_protection.h>
#include <velmora/trouble_listener.h>

#include "host/bodies/body_buffer.h"
#include "host/bodies/categories.h"
#include "host/bodies/host_owned.h"
#include "host/bodies/pinned_scripts.h"
#include "host/bodies/worker_counters.h"
#include "host/limits/limits.h"
#include "host/loading/plugin.h"
#include "host/web/security_policy.h"

namespace velmora::host {

/// An item that was blocked. The texts are the plug-in's, valid during the call; they come from the
/// page and may hold any bytes.
struct BlockedItem {
  std::int32_t category;
  std::string_view item;
  std::string_view detail;
  /// The address that was judged, where it was one.
  std::string_view address{};
  /// Where its element began in the body, content codings taken off; none where it is none's.
  std::optional<std::uint64_t> offset{};
};

/// What became of a body that was filtered to its end.
struct BodySaving {
  std::uint64_t items = 0;
  /// By how much it got shorter; below zero where more was put in than taken out.
  std::int64_t bytes = 0;
};

/// Hears what happens in a transaction, on the thread that works on it. Sinks that wait hold up the
/// body.
class TransactionSink {
 public:
  virtual void OnBlocked(const BlockedItem &item) noexcept = 0;
  /// Filtering or decoding stopped before the body's end. Comes once at most for each of them.
  virtual void OnStopped(StopReason reason) noexcept = 0;
  virtual void OnFinished(const BodySaving &) noexcept {}
  /// A script went into the page that suppresses what the category says, in the browser.
  virtual void OnGuarded(std::int32_t) noexcept {}
  /// The page's own security policy would not have run that script: it was left out.
  virtual void OnLeftOut(std::int32_t) noexcept {}

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
  /// Judges what elements request, where that is what decides about them; null: links and forms
  /// stay, and all else goes that the plug-in's ad-blocking library names. Outlives the
  /// transaction.
  const Plugin *requests = nullptr;
  /// By these lists.
  AdListChain lists{};
  /// The value of Content-Security-Policy; those of several lines with commas between them.
  std::string security_policy{};
  /// Hears which scripts the page pins; null: nobody. Outlives the transaction.
  PinnedScripts *pinned = nullptr;
  /// Is the plug-in offered `IPageProtection`?
  bool protects_page = true;
};

/// Outlives the processor that it is given to, and its sink outlives it.
class Transaction final : public HostOwned<IDataContext> {
 public:
  Transaction(TransactionInfo info, TransactionSink &sink);

  /// Why the plug-in let something pass unexamined, if it did.
  std::optional<StopReason> Unexamined() const noexcept { return trouble_.reason; }
  void SetLimit(const MisreadBytesLimit &limit) noexcept { trouble_.misread_bytes = limit; }

  /// Where the body lies for as long as the processor lives.
  void SetBuffer(const BodyBuffer &buffer) noexcept { items_.buffer = &buffer; }

  /// Memory that the plug-in takes for the body beside the buffer, as far as it tells.
  std::uint64_t PluginMemory() const noexcept { return page_.memory.Bytes(); }
  /// The processor is gone, and what it took with it.
  void ForgetPluginMemory() noexcept { page_.memory.Set(0); }

  const TransactionInfo &Info() const noexcept { return info_; }
  // Before the first bytes go to the plug-in: what they say beyond the header.
  void SetContentType(std::string content_type) noexcept {
    info_.content_type = std::move(content_type);
  }
  void SetCategories(CategorySet categories) noexcept { info_.categories = categories; }
  void ReportStopped(StopReason reason) noexcept {
    CountStopped(reason);
    sink_.OnStopped(reason);
  }
  void ReportFinished(std::int64_t saved) noexcept {
    if (blocked_ != 0) Count(&WorkerCounters::saved, static_cast<std::uint64_t>(saved));
    sink_.OnFinished({blocked_, saved});
  }
  /// Items so far.
  std::uint64_t Blocked() const noexcept { return blocked_; }

  const char *GetProperty(std::int32_t property) noexcept override;
  const char *GetSetting(const char *name) noexcept override;
  bool IsCategoryEnabled(std::int32_t category) noexcept override;
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override;
  void ReportBlocked(std::int32_t count, std::int32_t category, const char *item,
                     const char *detail) noexcept override;

 private:
  struct Trouble final : HostOwned<ITroubleListener> {
    void OnUnexamined() noexcept override { reason = StopReason::OUT_OF_MEMORY; }
    std::uint64_t MostMisreadBytes() noexcept override { return misread_bytes.most; }
    void OnMisreadBytes() noexcept override {
      if (!reason) reason = StopReason::MISREAD_BYTES;
    }

    MisreadBytesLimit misread_bytes;
    std::optional<StopReason> reason;
  };

  struct Items final : HostOwned<IItemListener> {
    void OnItem(std::uint32_t position, std::int32_t growth) noexcept override {
      if (buffer != nullptr) offset = buffer->OriginalPlace(position) + std::uint64_t(growth);
    }

    const BodyBuffer *buffer = nullptr;
    std::optional<std::uint64_t> offset;
  };

  struct Page final : HostOwned<IPageListener> {
    explicit Page(TransactionSink &of) noexcept : sink(of) {}
    void OnScriptInserted(std::int32_t category) noexcept override { sink.OnGuarded(category); }
    void OnMemory(std::uint64_t bytes) noexcept override { memory.Set(bytes); }

    TransactionSink &sink;
    HeldPart memory;
  };

  /// What the page's own security policy and pinned scripts ask of the filter.
  struct Protection final : HostOwned<IPageProtection> {
    Protection(const TransactionInfo &info, TransactionSink &sink);
    const char *ScriptNonce() noexcept override;
    void OnScriptLeftOut(std::int32_t category) noexcept override { sink_.OnLeftOut(category); }
    void OnSecurityPolicy(const char *policy) noexcept override;
    void OnPinnedScript(const char *value, const char *url) noexcept override;

   private:
    const TransactionInfo &info_;
    TransactionSink &sink_;
    SecurityPolicy policy_;
    std::optional<std::string> nonce_;
  };

  /// The plug-in asks about each element that it would remove by address.
  class Review final : public HostOwned<IAdReview> {
   public:
    explicit Review(const TransactionInfo &info) : info_(info) {}
    std::int32_t WhoDecides(const char *tag) noexcept override;
    const char *ReasonToRemove(const char *tag, const char *value,
                               const char *url) noexcept override;
    std::uint8_t IsKept(const char *tag, const char *value, const char *url) noexcept override;

    /// The first that did not stay since the last report.
    std::string address{};

   private:
    bool CanJudge() const noexcept {
      return info_.requests != nullptr && info_.requests->CanJudge();
    }
    AdVerdict Judge(std::uint32_t types, const std::string &url) const;
    bool IsBlocked(std::string_view tag, const std::string &url) const;

    std::string reason_{};
    const TransactionInfo &info_;
  };

  /// Elements are removed by their addresses only as far as their requests are blocked.
  bool DecidesByRequests() const noexcept {
    return info_.categories.Contains(CATEGORY_AD_ELEMENTS) &&
           !info_.categories.Contains(CATEGORY_AD_URLS);
  }
  ICounted *OtherInterface(const Identifier &identifier) noexcept override {
    if (identifier == ID_TroubleListener) return &trouble_;
    if (identifier == ID_PageListener) return &page_;
    if (identifier == ID_ItemListener) return &items_;
    if (identifier == ID_PageProtection) return info_.protects_page ? &protection_ : nullptr;
    return identifier == ID_AdReview ? &review_ : nullptr;
  }

  Trouble trouble_;
  TransactionInfo info_;
  Review review_{info_};
  TransactionSink &sink_;
  Page page_{sink_};
  Items items_;
  Protection protection_{info_, sink_};
  std::uint64_t blocked_ = 0;
};

}  // namespace velmora::host
