#include "host/bodies/transaction.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>
#include <vexlar/requests.h>

#include "base/ascii.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

/// What elements request; those that are not here request nothing before somebody clicks.
struct Requesting {
  std::string_view tag;
  std::uint32_t type;
};

constexpr Requesting REQUESTING[] = {
    {"APPLET", VEXLAR_TYPE_OBJECT},      {"EMBED", VEXLAR_TYPE_OBJECT},
    {"IFRAME", VEXLAR_TYPE_SUBDOCUMENT}, {"IMG", VEXLAR_TYPE_IMAGE},
    {"OBJECT", VEXLAR_TYPE_OBJECT},      {"PARAM", VEXLAR_TYPE_OBJECT},
    {"SCRIPT", VEXLAR_TYPE_SCRIPT},
};

/// 0: it requests nothing.
std::uint32_t TypesOf(std::string_view tag) noexcept {
  const auto found = std::ranges::find(REQUESTING, tag, &Requesting::tag);
  return found == std::end(REQUESTING) ? 0 : found->type;
}

/// The plug-in takes "https://..." for a file beside the page.
std::string Address(std::string_view value, std::string_view absolute) {
  return std::string(base::StartsWithNoCase(value, "https:") ? value : absolute);
}

}  // namespace

std::int32_t Transaction::Review::WhoDecides(const char *tag) noexcept {
  if (info_.categories.Contains(CATEGORY_AD_URLS)) return AD_REVIEW_LIBRARY;
  if (TypesOf(tag) == 0) return AD_REVIEW_NOBODY;
  // The library knows the lists for all alone.
  return CanJudge() && !info_.lists.own.empty() ? AD_REVIEW_HOST : AD_REVIEW_LIBRARY;
}

const char *Transaction::Review::ReasonToRemove(const char *tag, const char *value,
                                                const char *url) noexcept {
  try {
    std::string named = Address(value, url);
    AdVerdict verdict = Judge(TypesOf(tag), named);
    if (verdict.kind != AdVerdict::Kind::BLOCKED) return nullptr;
    reason_ = std::move(verdict.rule);
    if (address.empty()) address = std::move(named);
    return reason_.c_str();
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}

std::uint8_t Transaction::Review::IsKept(const char *tag, const char *value,
                                         const char *url) noexcept {
  try {
    const std::string named = Address(value, url);
    if (!info_.categories.Contains(CATEGORY_AD_URLS) && !IsBlocked(tag, named)) return 1;
    if (address.empty()) address = named;
    return 0;
  } catch (const std::bad_alloc &) {
    return info_.categories.Contains(CATEGORY_AD_URLS) ? 0 : 1;
  }
}

AdVerdict Transaction::Review::Judge(std::uint32_t types, const std::string &url) const {
  return info_.requests->Judge({.url = url, .page = info_.url, .method = "GET", .types = types},
                               info_.lists);
}

bool Transaction::Review::IsBlocked(std::string_view tag, const std::string &url) const {
  const std::uint32_t types = TypesOf(tag);
  if (types == 0) return false;
  return !CanJudge() || Judge(types, url).kind == AdVerdict::Kind::BLOCKED;
}

Transaction::Protection::Protection(const TransactionInfo &info, TransactionSink &sink)
    : info_(info), sink_(sink) {
  policy_.AddHeader(info.security_policy);
  nonce_ = policy_.ScriptNonce();
}

const char *Transaction::Protection::ScriptNonce() noexcept {
  return nonce_ ? nonce_->c_str() : nullptr;
}

void Transaction::Protection::OnSecurityPolicy(const char *policy) noexcept {
  try {
    policy_.AddMeta(policy);
    nonce_ = policy_.ScriptNonce();
  } catch (const std::bad_alloc &) {
    // What is not known to run is left out.
    nonce_.reset();
  }
}

void Transaction::Protection::OnPinnedScript(const char *value, const char *url) noexcept {
  if (info_.pinned == nullptr) return;
  try {
    info_.pinned->Add(ResolveReferences(Address(value, url)));
  } catch (const std::bad_alloc &) {
    // It is as if the page had been seen too long ago.
  }
}

Transaction::Transaction(TransactionInfo info, TransactionSink &sink)
    : info_(std::move(info)), sink_(sink) {
  if (info_.host.empty()) info_.host = HostOfUrl(info_.url);
}

const char *Transaction::GetProperty(std::int32_t property) noexcept {
  switch (property) {
    case PROPERTY_URL:
      return info_.url.c_str();
    case PROPERTY_HOST:
      return info_.host.c_str();
    case PROPERTY_CONTENT_TYPE:
      return info_.content_type ? info_.content_type->c_str() : nullptr;
    default:
      return nullptr;
  }
}

const char *Transaction::GetSetting(const char *name) noexcept {
  const auto setting = info_.settings.find(std::string_view(name));
  return setting == info_.settings.end() ? nullptr : setting->second.c_str();
}

bool Transaction::IsCategoryEnabled(std::int32_t category) noexcept {
  if (category == CATEGORY_AD_URLS && DecidesByRequests()) return true;
  return info_.categories.Contains(category);
}

const std::vector<std::uint8_t> &Transaction::GetOptionBlock() noexcept {
  return info_.option_block;
}

void Transaction::ReportBlocked(std::int32_t, std::int32_t category, const char *item,
                                const char *detail) noexcept {
  ++blocked_;
  const auto offset = std::exchange(items_.offset, std::nullopt);
  const bool is_by_address = category == CATEGORY_AD_URLS;
  if (is_by_address && DecidesByRequests()) category = CATEGORY_AD_ELEMENTS;
  CountBlocked(category);
  if (!is_by_address) return sink_.OnBlocked({category, item, detail, {}, offset});
  const std::string address = std::exchange(review_.address, {});
  sink_.OnBlocked({category, item, detail, address, offset});
}

}  // namespace velmora::host
