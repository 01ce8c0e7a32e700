#include "trafficserver/message.h"

#include <algorithm>

namespace velmora::trafficserver {
namespace {

int Length(std::string_view text) noexcept {
  return static_cast<int>(text.size());
}

/// A line of a head.
class Field {
 public:
  Field(TSMBuffer buffer, TSMLoc head, TSMLoc field) noexcept
      : buffer_(buffer), head_(head), field_(field) {}
  Field(const Field &) = delete;
  Field &operator=(const Field &) = delete;
  ~Field() {
    if (field_ != TS_NULL_MLOC) TSHandleMLocRelease(buffer_, head_, field_);
  }

  static Field Find(TSMBuffer buffer, TSMLoc head, std::string_view name) noexcept {
    return {buffer, head, TSMimeHdrFieldFind(buffer, head, name.data(), Length(name))};
  }

  explicit operator bool() const noexcept { return field_ != TS_NULL_MLOC; }
  TSMLoc Get() const noexcept { return field_; }

  std::string_view Value() const noexcept {
    int size = 0;
    // All that the line says: commas in it do not matter.
    const char *const text = TSMimeHdrFieldValueStringGet(buffer_, head_, field_, -1, &size);
    return text == nullptr ? std::string_view() : std::string_view(text, std::size_t(size));
  }

  void GoToNextOfItsName() noexcept {
    const TSMLoc next = TSMimeHdrFieldNextDup(buffer_, head_, field_);
    TSHandleMLocRelease(buffer_, head_, field_);
    field_ = next;
  }

 private:
  TSMBuffer buffer_;
  TSMLoc head_;
  TSMLoc field_;
};

}  // namespace

std::string_view Message::Method() const noexcept {
  int size = 0;
  const char *const text = TSHttpHdrMethodGet(buffer_, head_, &size);
  return text == nullptr ? std::string_view() : std::string_view(text, std::size_t(size));
}

Message::Target Message::TunnelTarget() const {
  TSMLoc url = TS_NULL_MLOC;
  if (TSHttpHdrUrlGet(buffer_, head_, &url) != TS_SUCCESS) return {};
  int size = 0;
  const char *const host = TSUrlHostGet(buffer_, url, &size);
  Target target{.host = std::string(host == nullptr ? "" : host,
                                    host == nullptr ? 0 : static_cast<std::size_t>(size)),
                .port = TSUrlPortGet(buffer_, url)};
  TSHandleMLocRelease(buffer_, head_, url);
  if (target.host.find(':') != std::string::npos && target.host.front() != '[') {
    std::string bracketed = "[";
    target.host = bracketed.append(target.host).append("]");
  }
  return target;
}

bool Message::Has(std::string_view name) const noexcept {
  return static_cast<bool>(Field::Find(buffer_, head_, name));
}

std::string_view Message::Value(std::string_view name) const noexcept {
  const Field field = Field::Find(buffer_, head_, name);
  return field ? field.Value() : std::string_view();
}

std::optional<std::string> Message::Joined(std::string_view name) const {
  std::optional<std::string> joined;
  for (Field field = Field::Find(buffer_, head_, name); field; field.GoToNextOfItsName()) {
    if (joined) joined->append(", ").append(field.Value());
    if (!joined) joined.emplace(field.Value());
  }
  return joined;
}

void Message::SetUrl(std::string_view url) noexcept {
  TSMLoc own = TS_NULL_MLOC;
  if (TSHttpHdrUrlGet(buffer_, head_, &own) != TS_SUCCESS) return;
  if (Method() == TS_HTTP_METHOD_CONNECT) {
    const std::string_view host = url.substr(0, url.rfind(':'));
    TSUrlHostSet(buffer_, own, host.data(), Length(host));
  } else {
    url = url.substr(std::min(url.find('?'), url.size()));
    url = url.substr(0, url.find('#'));
    url.remove_prefix(std::min<std::size_t>(1, url.size()));
    TSUrlHttpQuerySet(buffer_, own, url.data(), Length(url));
  }
  TSHandleMLocRelease(buffer_, head_, own);
}

void Message::SetStatus(int status, std::string_view reason) noexcept {
  TSHttpHdrStatusSet(buffer_, head_, static_cast<TSHttpStatus>(status));
  TSHttpHdrReasonSet(buffer_, head_, reason.data(), Length(reason));
}

void Message::Remove(std::string_view name) noexcept {
  while (const Field field = Field::Find(buffer_, head_, name)) {
    TSMimeHdrFieldDestroy(buffer_, head_, field.Get());
  }
}

void Message::Add(std::string_view name, std::string_view value) noexcept {
  TSMLoc made = TS_NULL_MLOC;
  if (TSMimeHdrFieldCreateNamed(buffer_, head_, name.data(), Length(name), &made) != TS_SUCCESS) {
    return;
  }
  const Field field(buffer_, head_, made);
  TSMimeHdrFieldValueStringSet(buffer_, head_, made, -1, value.data(), Length(value));
  TSMimeHdrFieldAppend(buffer_, head_, made);
}

}  // namespace velmora::trafficserver
