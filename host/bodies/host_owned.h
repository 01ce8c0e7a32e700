// HostOwned: the reference-counting operations of the objects that a host lends to the plug-in.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora::host {

/// References are counted, but the last one deletes nothing: the host owns the object and keeps it
/// until the processor that works with it is released.
template <class Interface>
class HostOwned : public Interface {
 public:
  HostOwned() = default;
  HostOwned(const HostOwned &) = delete;
  HostOwned &operator=(const HostOwned &) = delete;

  Status QueryInterface(const Identifier *identifier, void **output) noexcept final {
    if (identifier == nullptr || output == nullptr) return RESULT_INVALID_ARGUMENT;
    ICounted *const found = *identifier == ID_Unknown ? this : OtherInterface(*identifier);
    *output = found;
    if (found == nullptr) return RESULT_NO_INTERFACE;
    found->AddRef();
    return RESULT_OK;
  }
  std::int32_t AddRef() noexcept final { return ++references_; }
  std::int32_t Release() noexcept final { return --references_; }

  /// References that the plug-in holds at present.
  std::int32_t References() const noexcept { return references_; }

 protected:
  ~HostOwned() = default;
  /// What else the object answers for; null: nothing.
  virtual ICounted *OtherInterface(const Identifier &) noexcept { return nullptr; }

 private:
  std::int32_t references_ = 0;
};

}  // namespace velmora::host
