// A module that works as plug-in and as ad-blocking library, and that fails where the environment
// variable FAKE_FAULT says. What happens to it is appended to the file that FAKE_TRACE names.
//
// Its processors take text/html. They remove every "<ad>", report it under category 305 with the
// transaction's host, or what else its URL is, as the detail, and hold everything back from a "<"
// that no ">" follows.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <velmora/ad_blocker.h>
#include <velmora/velmora.h>

namespace velmora {
namespace {

bool HasFault(std::string_view fault) {
  const char *const wanted = std::getenv("FAKE_FAULT");
  return wanted != nullptr && fault == wanted;
}

void Trace(const char *event) {
  const char *const name = std::getenv("FAKE_TRACE");
  std::FILE *const file = name == nullptr ? nullptr : std::fopen(name, "a");
  if (file == nullptr) return;
  std::fprintf(file, "%s\n", event);
  std::fclose(file);
}

constexpr Identifier OBJECT_ID{{0xFA, 0xCE}};

struct LoadTrace {
  LoadTrace() { Trace("load"); }
  ~LoadTrace() { Trace("unload"); }
} load_trace;

template <class Interface>
class Counted : public Interface {
 public:
  virtual ~Counted() = default;
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return ++references_; }
  std::int32_t Release() noexcept override {
    const std::int32_t left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  std::int32_t references_ = 1;
};

class Processor final : public Counted<IDataProcessor> {
 public:
  bool SetContext(IDataContext *context) noexcept override {
    context_ = context;
    return true;
  }
  bool IsSupported() noexcept override {
    const char *const type = context_->GetProperty(PROPERTY_CONTENT_TYPE);
    return type != nullptr && std::string_view(type).starts_with("text/html");
  }
  bool ProcessData(IDataBuffer *buffer, std::uint32_t offset, std::uint32_t,
                   std::uint32_t flags) noexcept override {
    if (HasFault("hold-all") && (flags & DATA_FLAG_END) == 0) return true;
    const auto text = [&] {
      return std::string_view(reinterpret_cast<char *>(buffer->GetData()), buffer->GetSize());
    };
    while (context_->IsCategoryEnabled(CATEGORY_AD_URLS) && text().find("<ad>") != text().npos) {
      const std::size_t place = text().find("<ad>", offset);
      context_->ReportBlocked(1, CATEGORY_AD_URLS, "<ad>", Site());
      buffer->Replace(static_cast<std::uint32_t>(place), 4, nullptr, 0);
    }
    const std::size_t open = text().rfind('<');
    const bool is_open = open != text().npos && text().find('>', open) == text().npos;
    buffer->SetCommitted(is_open ? static_cast<std::uint32_t>(open) : buffer->GetSize());
    return true;
  }

 private:
  const char *Site() const {
    const std::string_view host = context_->GetProperty(PROPERTY_HOST);
    const std::string_view url = context_->GetProperty(PROPERTY_URL);
    return host.empty() && url.starts_with("http://") ? url.substr(7).data() : host.data();
  }

  IDataContext *context_ = nullptr;
};

/// What the ad-blocking library was asked, a line a call, from when somebody wants to know it; by
/// one thread then.
std::atomic<std::string *> ad_calls = nullptr;

/// Addresses that contain FAKE_AD_URLS are advertisements, with that as the reason; those with a
/// "?" too are expressly allowed.
class Blocker final : public Counted<IAdBlocker> {
 public:
  std::uint8_t IsReady() noexcept override { return 1; }
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *host, const char *url, char *text, std::size_t size,
                        bool *exempt) noexcept override {
    Note("url", host, url);
    return Judge(url, text, size, exempt);
  }
  std::uint8_t CheckUrlText(const char *host, const char *piece, std::uint32_t length, char *text,
                            std::size_t size, bool *exempt) noexcept override {
    // Asked at every place of a text, each time for all that follows.
    const std::string_view start = std::string_view(piece, length).substr(0, 64);
    Note("text", host, std::to_string(length).append(" ").append(start));
    return Judge(start, text, size, exempt);
  }
  std::uint8_t CheckSize(const char *host, std::int32_t width,
                         std::int32_t height) noexcept override {
    Note("size", host, std::to_string(width) + "x" + std::to_string(height));
    return width == 468 && std::getenv("FAKE_AD_URLS") != nullptr;
  }
  std::uint8_t CheckLink(const char *link, const char *host, const char *text) noexcept override {
    Note("link", host, link + std::string(" ") + text);
    return 0;
  }

 private:
  static void Note(const char *what, const char *host, std::string_view text) {
    std::string *const calls = ad_calls;
    if (calls == nullptr) return;
    calls->append(what).append(" ").append(host).append(" ").append(text).append("\n");
  }
  static std::uint8_t Judge(std::string_view url, char *text, std::size_t size, bool *exempt) {
    const char *const part = std::getenv("FAKE_AD_URLS");
    if (part == nullptr || url.find(part) == url.npos) return 0;
    if (url.find('?') != url.npos) {
      *exempt = true;
      return 0;
    }
    std::snprintf(text, size, "%s", part);
    return 1;
  }
};

class Factory final : public Counted<IDataProcessorFactory> {
 public:
  ~Factory() override { Trace("factory released"); }
  Status CreateInstance(const Identifier *identifier, void **output) noexcept override {
    *output = nullptr;
    if (HasFault("no-processor")) return RESULT_OUT_OF_MEMORY;
    if (*identifier == ID_DataProcessor) *output = static_cast<IDataProcessor *>(new Processor);
    if (*identifier == ID_AdBlocker) *output = static_cast<IAdBlocker *>(new Blocker);
    if (*output == nullptr) return RESULT_NO_INTERFACE;
    return RESULT_OK;
  }
};

Status CopyObjectId(Identifier *identifier) {
  if (HasFault("no-identifier")) return RESULT_INVALID_ARGUMENT;
  *identifier = OBJECT_ID;
  return RESULT_OK;
}

}  // namespace
}  // namespace velmora

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))
FAKE_EXPORT velmora::Status GetDataProcessorObjectID(velmora::Identifier *identifier);
FAKE_EXPORT velmora::Status Ordinal_3(velmora::Identifier *identifier);
FAKE_EXPORT velmora::Status GetFactory(const velmora::Identifier *object,
                                       velmora::IDataProcessorFactory **factory);

velmora::Status GetDataProcessorObjectID(velmora::Identifier *identifier) {
  return velmora::CopyObjectId(identifier);
}
velmora::Status Ordinal_3(velmora::Identifier *identifier) {
  return velmora::CopyObjectId(identifier);
}
velmora::Status GetFactory(const velmora::Identifier *object,
                           velmora::IDataProcessorFactory **factory) {
  if (*object != velmora::OBJECT_ID || velmora::HasFault("no-factory")) {
    return velmora::RESULT_INVALID_ARGUMENT;
  }
  *factory = new velmora::Factory;
  return velmora::RESULT_OK;
}
FAKE_EXPORT std::string *FakeAdCalls();
std::string *FakeAdCalls() {
  if (velmora::ad_calls == nullptr) velmora::ad_calls = new std::string;
  return velmora::ad_calls;
}
