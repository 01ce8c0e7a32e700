// An ad-blocking library for tests in a process of their own, scripted by the environment:
//
//   FAKE_AD_CALLS   file that gets a line for every call
//   FAKE_AD_URLS    parts of addresses, separated by ";": an address with one of them is an
//                   advertisement, and the part is the reason
//   FAKE_AD_EXEMPT  parts of addresses that are expressly allowed
//   FAKE_AD_SIZES   sizes of advertisements, as in "468x60;120x600"
//   FAKE_AD_FAIL    what fails: "object-id", "factory", "create" or "ready"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <velmora/ad_blocker.h>
#include <velmora/module.h>

namespace {

using namespace velmora;

constexpr Identifier FAKE_OBJECT{{0xFA, 0xCE}};

std::string_view Variable(const char *name) noexcept {
  const char *value = std::getenv(name);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

bool Fails(std::string_view step) noexcept {
  return Variable("FAKE_AD_FAIL") == step;
}

void Record(const std::string &call) noexcept {
  if (std::FILE *file = std::fopen(std::string(Variable("FAKE_AD_CALLS")).c_str(), "a")) {
    std::fprintf(file, "%s\n", call.c_str());
    std::fclose(file);
  }
}

/// The first entry of a ";" list that `fits`; empty when none does.
template <class Predicate>
std::string_view FindEntry(std::string_view list, Predicate fits) noexcept {
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(';'));
    if (!entry.empty() && fits(entry)) return entry;
    list.remove_prefix(std::min(entry.size() + 1, list.size()));
  }
  return {};
}

std::uint8_t Judge(std::string_view url, char *text, std::size_t size, bool *exempt) noexcept {
  const auto is_part = [url](std::string_view part) {
    return url.find(part) != std::string_view::npos;
  };
  if (!FindEntry(Variable("FAKE_AD_EXEMPT"), is_part).empty()) *exempt = true;
  const std::string_view reason = FindEntry(Variable("FAKE_AD_URLS"), is_part);
  if (reason.empty()) return 0;
  std::snprintf(text, size, "%.*s", static_cast<int>(reason.size()), reason.data());
  return 1;
}

class FakeBlocker final : public IAdBlocker {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override {
    Record("Release");
    return 0;
  }
  std::uint8_t IsReady() noexcept override {
    Record("IsReady");
    return Fails("ready") ? 2 : 1;
  }
  std::uint8_t Reserved4() noexcept override {
    Record("Reserved4");
    return 0;
  }
  std::uint8_t CheckUrl(const char *host, const char *url, char *text, std::size_t size,
                        bool *exempt) noexcept override {
    Record(std::string("CheckUrl ") + host + " [" + url + "]");
    return Judge(url, text, size, exempt);
  }
  std::uint8_t CheckUrlText(const char *host, const char *piece, std::uint32_t length, char *text,
                            std::size_t size, bool *exempt) noexcept override {
    Record(std::string("CheckUrlText ") + host + " [" + std::string(piece, length) + "]");
    return Judge({piece, length}, text, size, exempt);
  }
  std::uint8_t CheckSize(const char *host, std::int32_t width,
                         std::int32_t height) noexcept override {
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    Record(std::string("CheckSize ") + host + " " + size);
    return !FindEntry(Variable("FAKE_AD_SIZES"), [&size](std::string_view entry) {
              return entry == size;
            }).empty();
  }
  std::uint8_t CheckLink(const char *link, const char *host, const char *text) noexcept override {
    Record(std::string("CheckLink [") + link + "] " + host + " [" + text + "]");
    return 0;
  }
};

class FakeFactory final : public IDataProcessorFactory {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override {
    Record("Release factory");
    return 0;
  }
  Status CreateInstance(const Identifier *identifier, void **output) noexcept override {
    Record(*identifier == ID_AdBlocker ? "CreateInstance" : "CreateInstance of something else");
    *output = nullptr;
    if (Fails("create")) return RESULT_NO_INTERFACE;
    static FakeBlocker blocker;
    *output = static_cast<IAdBlocker *>(&blocker);
    return RESULT_OK;
  }
};

}  // namespace

extern "C" {

[[gnu::visibility("default")]] velmora::Status Ordinal_3(velmora::Identifier *identifier) {
  Record("Ordinal_3");
  if (Fails("object-id")) return RESULT_OUT_OF_MEMORY;
  *identifier = FAKE_OBJECT;
  return RESULT_OK;
}

[[gnu::visibility("default")]] velmora::Status GetFactory(
    const velmora::Identifier *object, velmora::IDataProcessorFactory **factory) {
  Record(*object == FAKE_OBJECT ? "GetFactory" : "GetFactory of something else");
  if (Fails("factory")) return RESULT_OUT_OF_MEMORY;
  static FakeFactory the_factory;
  *factory = &the_factory;
  return RESULT_OK;
}

}  // extern "C"
