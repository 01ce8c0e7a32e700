#include "host/bodies/transaction.h"

#include <utility>

#include "host/web/url.h"

namespace velmora::host {

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
  return info_.categories.Contains(category);
}

const std::vector<std::uint8_t> &Transaction::GetOptionBlock() noexcept {
  return info_.option_block;
}

void Transaction::ReportBlocked(std::int32_t, std::int32_t category, const char *item,
                                const char *detail) noexcept {
  sink_.OnBlocked({category, item, detail});
}

}  // namespace velmora::host
