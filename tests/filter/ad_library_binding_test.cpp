// The binding to a loaded ad-blocking library: each way that it can fail, and what that leaves
// behind.

#include "core/ad_library_binding.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <velmora/module.h>

#include "core/ad_blocking.h"
#include "support/fake_ad_blocker.h"

namespace velmora::testing {
namespace {

using ::testing::ElementsAreArray;

/// What a library's functions answer, and what was done with it. Its exports are plain functions,
/// so it is the one library of the process.
struct FakeLibrary {
  bool loaded = true;
  bool has_ordinal = true;
  Status ordinal_answer = RESULT_OK;
  bool has_get_factory = true;
  Status factory_answer = RESULT_OK;
  bool stores_factory = true;
  Status create_answer = RESULT_OK;
  bool stores_object = true;
  std::uint8_t ready = 1;

  FakeAdBlocker object;
  std::vector<std::string> steps;
};

FakeLibrary *library = nullptr;

constexpr Identifier LIBRARY_OBJECT{{1, 2, 3}};

class FakeFactory final : public IDataProcessorFactory {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override {
    ADD_FAILURE() << "the reference that came with the factory is enough";
    return 2;
  }
  std::int32_t Release() noexcept override {
    library->steps.push_back("release factory");
    return 0;
  }
  Status CreateInstance(const Identifier *identifier, void **output) noexcept override {
    EXPECT_EQ(*identifier, ID_AdBlocker);
    library->steps.push_back("create");
    library->object.ready = library->ready;
    *output = library->stores_object ? static_cast<IAdBlocker *>(&library->object) : nullptr;
    return library->create_answer;
  }
};

Status FakeOrdinal3(Identifier *identifier) {
  library->steps.push_back("object id");
  *identifier = LIBRARY_OBJECT;
  return library->ordinal_answer;
}

Status FakeGetFactory(const Identifier *object, IDataProcessorFactory **output) {
  static FakeFactory factory;
  EXPECT_EQ(*object, LIBRARY_OBJECT);
  EXPECT_EQ(*output, nullptr);
  library->steps.push_back("get factory");
  if (library->stores_factory) *output = &factory;
  return library->factory_answer;
}

ModuleAccess AccessToFakeLibrary() {
  return {
      .find_loaded = [](const char *name) -> platform::ModuleHandle {
        EXPECT_STREQ(name, "libvexlar.so");
        return library->loaded ? library : nullptr;
      },
      .find_symbol = [](platform::ModuleHandle handle, const char *name) -> void * {
        EXPECT_EQ(handle, library);
        if (name == std::string_view("Ordinal_3") && library->has_ordinal) {
          return reinterpret_cast<void *>(&FakeOrdinal3);
        }
        if (name == std::string_view("GetFactory") && library->has_get_factory) {
          return reinterpret_cast<void *>(&FakeGetFactory);
        }
        return nullptr;
      },
      .close_handle = [](platform::ModuleHandle) { library->steps.push_back("close"); },
  };
}

struct BindingCase {
  const char *name;
  void (*arrange)(FakeLibrary &);
  std::vector<std::string> steps;
  bool is_bound;
};

const BindingCase CASES[] = {
    {"all well",
     [](FakeLibrary &) {},
     {"object id", "get factory", "create", "release factory"},
     true},
    {"not loaded", [](FakeLibrary &l) { l.loaded = false; }, {}, false},
    {"no Ordinal_3", [](FakeLibrary &l) { l.has_ordinal = false; }, {"close"}, false},
    {"no identifier", [](FakeLibrary &l) { l.ordinal_answer = 0; }, {"object id", "close"}, false},
    {"no GetFactory",
     [](FakeLibrary &l) { l.has_get_factory = false; },
     {"object id", "close"},
     false},
    {"no factory",
     [](FakeLibrary &l) {
       l.factory_answer = RESULT_INVALID_ARGUMENT;
       l.stores_factory = false;
     },
     {"object id", "get factory", "close"},
     false},
    {"a factory with a failure",
     [](FakeLibrary &l) { l.factory_answer = 1; },
     {"object id", "get factory", "close", "release factory"},
     false},
    {"a null factory",
     [](FakeLibrary &l) { l.stores_factory = false; },
     {"object id", "get factory", "close"},
     false},
    {"no object",
     [](FakeLibrary &l) {
       l.create_answer = RESULT_NO_INTERFACE;
       l.stores_object = false;
     },
     {"object id", "get factory", "create", "close", "release factory"},
     false},
    {"a null object",
     [](FakeLibrary &l) { l.stores_object = false; },
     {"object id", "get factory", "create", "close", "release factory"},
     false},
    // What the factory stored stays in use.
    {"an object with a failure",
     [](FakeLibrary &l) { l.create_answer = 0; },
     {"object id", "get factory", "create", "close", "release factory"},
     true},
    {"not ready",
     [](FakeLibrary &l) { l.ready = 0; },
     {"object id", "get factory", "create", "close", "release factory"},
     true},
    {"ready, but not exactly 1",
     [](FakeLibrary &l) { l.ready = 2; },
     {"object id", "get factory", "create", "close", "release factory"},
     true},
};

TEST(AdLibraryBinding, LeavesWhatEachFailureLeaves) {
  for (const BindingCase &c : CASES) {
    SCOPED_TRACE(c.name);
    FakeLibrary fake;
    library = &fake;
    c.arrange(fake);
    {
      const AdBlocking ads(BindAdLibrary(AccessToFakeLibrary()));
      EXPECT_EQ(ads.IsBound(), c.is_bound);
      EXPECT_EQ(ads.CheckSize("h", 1, 2), false);
    }
    EXPECT_THAT(fake.steps, ElementsAreArray(c.steps));
    EXPECT_EQ(fake.object.references, c.is_bound ? 0 : 1);
    EXPECT_EQ(fake.object.calls.size(), c.is_bound ? 1U : 0U);
  }
}

TEST(AdLibraryBinding, FindsOnlyALibraryThatIsLoaded) {
  ASSERT_EQ(BindAdLibrary(), nullptr);
  setenv("FAKE_AD_SIZES", "1x2;468x60", 1);
  setenv("FAKE_AD_URLS", "banner", 1);
  ASSERT_NE(dlopen(FAKE_AD_LIBRARY, RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
  const AdBlocking ads(BindAdLibrary());
  ASSERT_TRUE(ads.IsBound());
  EXPECT_TRUE(ads.CheckSize("h", 468, 60));
  EXPECT_FALSE(ads.CheckSize("h", 468, 61));
  std::string reason;
  bool exempt = false;
  EXPECT_EQ(ads.CheckUrl("h", "http://h/banner.gif", reason, exempt), 1);
  EXPECT_EQ(reason, "banner");
  EXPECT_FALSE(exempt);
}

}  // namespace
}  // namespace velmora::testing
