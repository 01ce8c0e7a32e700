#include "core/host_extensions.h"

#include <velmora/ad_review.h>
#include <velmora/item_listener.h>
#include <velmora/page_listener.h>
#include <velmora/page_protection.h>
#include <velmora/trouble_listener.h>

#include "base/counted_pointer.h"

namespace velmora {
namespace {

constexpr std::uint64_t DEFAULT_MISREAD_BYTES = 64U << 20;

/// Null where the host has none.
template <class Interface>
CountedPointer<Interface> Extension(IDataContext &context, const Identifier &identifier) noexcept {
  void *answer = nullptr;
  if (context.QueryInterface(&identifier, &answer) != RESULT_OK) return {};
  return CountedPointer<Interface>::Adopt(static_cast<Interface *>(answer));
}

}  // namespace

void TellUnexamined(IDataContext &context) noexcept {
  if (const auto listener = Extension<ITroubleListener>(context, ID_TroubleListener)) {
    listener->OnUnexamined();
  }
}

std::uint64_t MostMisreadBytes(IDataContext &context) noexcept {
  const auto listener = Extension<ITroubleListener>(context, ID_TroubleListener);
  return listener ? listener->MostMisreadBytes() : DEFAULT_MISREAD_BYTES;
}

void TellMisreadBytes(IDataContext &context) noexcept {
  if (const auto listener = Extension<ITroubleListener>(context, ID_TroubleListener)) {
    listener->OnMisreadBytes();
  }
}

void TellScriptInserted(IDataContext &context, std::int32_t category) noexcept {
  if (const auto listener = Extension<IPageListener>(context, ID_PageListener)) {
    listener->OnScriptInserted(category);
  }
}

void TellMemory(IDataContext &context, std::uint64_t bytes) noexcept {
  if (const auto listener = Extension<IPageListener>(context, ID_PageListener)) {
    listener->OnMemory(bytes);
  }
}

void TellItem(IDataContext &context, std::uint32_t position, std::int32_t growth) noexcept {
  if (const auto listener = Extension<IItemListener>(context, ID_ItemListener)) {
    listener->OnItem(position, growth);
  }
}

AdReview WhoDecides(IDataContext &context, const std::string &tag) noexcept {
  const auto review = Extension<IAdReview>(context, ID_AdReview);
  const std::int32_t answer = review ? review->WhoDecides(tag.c_str()) : AD_REVIEW_LIBRARY;
  return answer == AD_REVIEW_NOBODY || answer == AD_REVIEW_HOST ? AdReview{answer}
                                                                : AD_REVIEW_LIBRARY;
}

std::optional<std::string> ReasonToRemove(IDataContext &context, const std::string &tag,
                                          const std::string &value, const std::string &url) {
  const auto review = Extension<IAdReview>(context, ID_AdReview);
  const char *const reason =
      review ? review->ReasonToRemove(tag.c_str(), value.c_str(), url.c_str()) : nullptr;
  return reason == nullptr ? std::nullopt : std::optional<std::string>(reason);
}

bool IsAdKept(IDataContext &context, const std::string &tag, const std::string &value,
              const std::string &url) noexcept {
  const auto review = Extension<IAdReview>(context, ID_AdReview);
  return review && review->IsKept(tag.c_str(), value.c_str(), url.c_str()) != 0;
}

std::optional<std::string> ScriptNonce(IDataContext &context) {
  const auto protection = Extension<IPageProtection>(context, ID_PageProtection);
  if (!protection) return std::string();
  const char *const nonce = protection->ScriptNonce();
  return nonce == nullptr ? std::nullopt : std::optional<std::string>(nonce);
}

bool ProtectsPages(IDataContext &context) noexcept {
  return bool(Extension<IPageProtection>(context, ID_PageProtection));
}

void TellScriptLeftOut(IDataContext &context, std::int32_t category) noexcept {
  if (const auto protection = Extension<IPageProtection>(context, ID_PageProtection)) {
    protection->OnScriptLeftOut(category);
  }
}

void TellSecurityPolicy(IDataContext &context, const std::string &policy) noexcept {
  if (const auto protection = Extension<IPageProtection>(context, ID_PageProtection)) {
    protection->OnSecurityPolicy(policy.c_str());
  }
}

void TellPinnedScript(IDataContext &context, const std::string &value,
                      const std::string &url) noexcept {
  if (const auto protection = Extension<IPageProtection>(context, ID_PageProtection)) {
    protection->OnPinnedScript(value.c_str(), url.c_str());
  }
}

}  // namespace velmora
