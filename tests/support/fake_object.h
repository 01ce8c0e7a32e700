// What the fakes of the plug-in's interfaces have in common.
#pragma once

#include <cstdint>

#include <velmora/velmora.h>

namespace velmora::testing {

/// Lives in its test, whatever its count says.
template <class Interface>
class FakeObject : public Interface {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return ++references; }
  std::int32_t Release() noexcept override { return --references; }

  std::int32_t references = 1;
};

}  // namespace velmora::testing
