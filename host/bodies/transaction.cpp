#include "host/bodies/transaction.h"

#include <utility>

namespace velmora::host {

std::string_view HostOfUrl(std::string_view url) noexcept {
  const std::size_t scheme_end = url.find("://");
  if (scheme_end == url.npos) return {};
  url.remove_prefix(scheme_end + 3);
  std::string_view host = url.substr(0, url.find_first_of("/\\?#"));
  if (const std::size_t user_end = host.rfind('@'); user_end != host.npos) {
    host.remove_prefix(user_end + 1);
  }
  const std::size_t address_end = host.starts_with('[') ? host.find(']') : 0;
  if (address_end == host.npos) return {};
  return host.substr(0, host.find(':', address_end));
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
