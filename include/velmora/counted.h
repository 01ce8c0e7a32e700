// The three operations that every interface begins with.
#pragma once

#include <cstdint>

#include <velmora/identifier.h>
#include <velmora/status.h>

namespace velmora {

/// A reference-counted object behind a table of operations (an Itanium vtable without destructor
/// entries). Whoever stores a pointer takes a reference; the object deletes itself when the last
/// one is released.
class ICounted {
 public:
  /// Stores in `*output` the interface that `identifier` names, with a reference for the caller;
  /// stores null and answers `RESULT_NO_INTERFACE` when the object does not offer it.
  virtual Status QueryInterface(const Identifier *identifier, void **output) noexcept = 0;
  /// Takes one more reference and returns the new count.
  virtual std::int32_t AddRef() noexcept = 0;
  /// Gives one reference back and returns the new count; after 0 the object is gone.
  virtual std::int32_t Release() noexcept = 0;

 protected:
  ICounted() = default;
  ICounted(const ICounted &) = default;
  ICounted &operator=(const ICounted &) = default;
  ~ICounted() = default;
};

}  // namespace velmora
