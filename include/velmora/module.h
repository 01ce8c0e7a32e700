// What a module exports, and the factory that a host gets from it.
//
// A host asks the module for its object identifier, hands that to `GetFactory`, asks the factory
// for one object per transaction, and may unload the module when no object is left.
#pragma once

#include <cstdint>

#include <velmora/counted.h>
#include <velmora/identifier.h>
#include <velmora/status.h>

namespace velmora {

/// Makes the module's objects.
class IDataProcessorFactory : public ICounted {
 public:
  /// Makes an object and stores the interface that `identifier` names in `*output`, with one
  /// reference for the caller. On failure `*output` is null.
  virtual Status CreateInstance(const Identifier *identifier, void **output) noexcept = 0;

 protected:
  ~IDataProcessorFactory() = default;
};

/// "GetDataProcessorObjectID" and "Ordinal_3": copies the module's object identifier to
/// `*identifier`; always `RESULT_OK`.
using GetObjectIdFunction = Status (*)(Identifier *identifier);
/// "GetFactory": stores a factory with one reference in `*factory` when `*object` is the module's
/// object identifier; otherwise fails and leaves it untouched.
using GetFactoryFunction = Status (*)(const Identifier *object, IDataProcessorFactory **factory);
/// "GetObjectCount": the live-object counter. It counts processors up, and every released object
/// down (factories and handlers too), so it can be negative.
using GetObjectCountFunction = std::int32_t (*)();

inline constexpr char EXPORT_GET_OBJECT_ID[] = "GetDataProcessorObjectID";
inline constexpr char EXPORT_ORDINAL_3[] = "Ordinal_3";
inline constexpr char EXPORT_GET_FACTORY[] = "GetFactory";
inline constexpr char EXPORT_GET_OBJECT_COUNT[] = "GetObjectCount";

}  // namespace velmora
