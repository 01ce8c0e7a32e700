// An ad-blocking library for tests in a process of their own. Addresses that contain what the
// environment variable FAKE_AD_URLS says are advertisements, with that as the reason.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <velmora/ad_blocker.h>
#include <velmora/module.h>

#include "fake_object.h"

namespace {

using namespace velmora;

constexpr Identifier FAKE_OBJECT{{0xFA, 0xCE}};

class FakeBlocker final : public testing::FakeObject<IAdBlocker> {
 public:
  std::uint8_t IsReady() noexcept override { return 1; }
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *, const char *url, char *text, std::size_t size,
                        bool *) noexcept override {
    const char *const part = std::getenv("FAKE_AD_URLS");
    if (part == nullptr || std::string_view(url).find(part) == std::string_view::npos) return 0;
    std::snprintf(text, size, "%s", part);
    return 1;
  }
  std::uint8_t CheckUrlText(const char *, const char *, std::uint32_t, char *, std::size_t,
                            bool *) noexcept override {
    return 0;
  }
  std::uint8_t CheckSize(const char *, std::int32_t, std::int32_t) noexcept override { return 0; }
  std::uint8_t CheckLink(const char *, const char *, const char *) noexcept override { return 0; }
};

class FakeFactory final : public testing::FakeObject<IDataProcessorFactory> {
 public:
  Status CreateInstance(const Identifier *identifier, void **output) noexcept override {
    static FakeBlocker blocker;
    *output = *identifier == ID_AdBlocker ? static_cast<IAdBlocker *>(&blocker) : nullptr;
    return *output == nullptr ? RESULT_NO_INTERFACE : RESULT_OK;
  }
};

}  // namespace

extern "C" {

[[gnu::visibility("default")]] velmora::Status Ordinal_3(velmora::Identifier *identifier) {
  *identifier = FAKE_OBJECT;
  return RESULT_OK;
}

[[gnu::visibility("default")]] velmora::Status GetFactory(
    const velmora::Identifier *object, velmora::IDataProcessorFactory **factory) {
  static FakeFactory the_factory;
  *factory = *object == FAKE_OBJECT ? &the_factory : nullptr;
  return *factory == nullptr ? RESULT_INVALID_ARGUMENT : RESULT_OK;
}

}  // extern "C"
