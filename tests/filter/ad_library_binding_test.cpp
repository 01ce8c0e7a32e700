// The binding to a loaded ad-blocking library: each way that it can fail, and what is left then.

#include "core/ad_library_binding.h"

#include <gtest/gtest.h>
#include <string>

#include <velmora/module.h>

#include "core/ad_blocking.h"
#include "support/fake_ad_blocker.h"

namespace velmora::testing {
namespace {

/// How a library answers.
struct Answers {
  bool is_loaded = true;
  bool has_ordinal = true;
  Status to_ordinal = RESULT_OK;
  bool has_get_factory = true;
  Status to_get_factory = RESULT_OK;
  bool stores_factory = true;
  Status to_create = RESULT_OK;
  bool stores_object = true;
  std::uint8_t to_is_ready = 1;
};

/// Its exports are plain functions, so it is the one library of the process.
struct FakeLibrary {
  Answers answers;
  FakeAdBlocker object;
  /// What was done with it, each step after a "-".
  std::string steps;
};

FakeLibrary *library = nullptr;

constexpr Identifier LIBRARY_OBJECT{{1, 2, 3}};

class FakeFactory final : public FakeObject<IDataProcessorFactory> {
 public:
  std::int32_t AddRef() noexcept override {
    ADD_FAILURE() << "the reference that came with the factory is enough";
    return 2;
  }
  std::int32_t Release() noexcept override {
    library->steps += "-release factory";
    return 0;
  }
  Status CreateInstance(const Identifier *identifier, void **output) noexcept override {
    EXPECT_EQ(*identifier, ID_AdBlocker);
    library->steps += "-create";
    library->object.ready = library->answers.to_is_ready;
    *output =
        library->answers.stores_object ? static_cast<IAdBlocker *>(&library->object) : nullptr;
    return library->answers.to_create;
  }
};

Status FakeOrdinal3(Identifier *identifier) {
  library->steps += "-object id";
  *identifier = LIBRARY_OBJECT;
  return library->answers.to_ordinal;
}

Status FakeGetFactory(const Identifier *object, IDataProcessorFactory **output) {
  static FakeFactory factory;
  EXPECT_EQ(*object, LIBRARY_OBJECT);
  EXPECT_EQ(*output, nullptr);
  library->steps += "-get factory";
  if (library->answers.stores_factory) *output = &factory;
  return library->answers.to_get_factory;
}

ModuleAccess AccessToFakeLibrary() {
  return {
      .find_loaded = [](const char *name) -> base::ModuleHandle {
        EXPECT_STREQ(name, "libvexlar.so");
        return library->answers.is_loaded ? library : nullptr;
      },
      .find_symbol = [](base::ModuleHandle handle, const char *name) -> void * {
        EXPECT_EQ(handle, library);
        if (name == std::string_view("Ordinal_3") && library->answers.has_ordinal) {
          return reinterpret_cast<void *>(&FakeOrdinal3);
        }
        if (name == std::string_view("GetFactory") && library->answers.has_get_factory) {
          return reinterpret_cast<void *>(&FakeGetFactory);
        }
        return nullptr;
      },
      .close_handle = [](base::ModuleHandle) { library->steps += "-close"; },
  };
}

TEST(AdLibraryBinding, LeavesWhatEachFailureLeaves) {
  const std::string made = "-object id-get factory-create";
  const struct {
    const char *name;
    Answers answers;
    std::string steps;
    bool is_bound;
  } cases[] = {
      {"all well", {}, made + "-release factory", true},
      {"not loaded", {.is_loaded = false}, "", false},
      {"no Ordinal_3", {.has_ordinal = false}, "-close", false},
      {"no identifier", {.to_ordinal = 0}, "-object id-close", false},
      {"no GetFactory", {.has_get_factory = false}, "-object id-close", false},
      {"no factory",
       {.to_get_factory = RESULT_INVALID_ARGUMENT, .stores_factory = false},
       "-object id-get factory-close",
       false},
      {"a factory with a failure",
       {.to_get_factory = 1},
       "-object id-get factory-close-release factory",
       false},
      {"a null factory", {.stores_factory = false}, "-object id-get factory-close", false},
      {"no object",
       {.to_create = RESULT_NO_INTERFACE, .stores_object = false},
       made + "-close-release factory",
       false},
      {"a null object", {.stores_object = false}, made + "-close-release factory", false},
      // What the factory stored stays in use.
      {"an object with a failure", {.to_create = 0}, made + "-close-release factory", true},
      {"not ready", {.to_is_ready = 0}, made + "-close-release factory", true},
      {"ready, but not exactly 1", {.to_is_ready = 2}, made + "-close-release factory", true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    FakeLibrary fake{.answers = c.answers, .object = {}, .steps = {}};
    library = &fake;
    {
      const AdBlocking ads(BindAdLibrary(AccessToFakeLibrary()));
      EXPECT_EQ(ads.IsBound(), c.is_bound);
      EXPECT_EQ(ads.CheckSize("h", 1, 2), false);
    }
    EXPECT_EQ(fake.steps, c.steps);
    EXPECT_EQ(fake.object.references, c.is_bound ? 0 : 1);
    EXPECT_EQ(fake.object.calls.size(), c.is_bound ? 1U : 0U);
  }
}

}  // namespace
}  // namespace velmora::testing
