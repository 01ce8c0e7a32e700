// The functions that the shared library exports, and the one static object behind them.
#include <new>

#include <velmora/module.h>

#include "plugin/data_processor_factory.h"
#include "plugin/module.h"

namespace {

/// Built when the library is loaded, destroyed when it is unloaded.
const velmora::Module the_module(velmora::platform::Registry::OfMachine(), velmora::ModuleAccess{});

}  // namespace

extern "C" {

[[gnu::visibility("default")]] velmora::Status GetDataProcessorObjectID(
    velmora::Identifier *identifier) {
  *identifier = velmora::ID_ProcessorObject;
  return velmora::RESULT_OK;
}

/// The same function, at the ordinal where modules of this kind look for it.
[[gnu::visibility("default"), gnu::alias("GetDataProcessorObjectID")]] velmora::Status Ordinal_3(
    velmora::Identifier *identifier);

[[gnu::visibility("default")]] velmora::Status GetFactory(
    const velmora::Identifier *object, velmora::IDataProcessorFactory **factory) {
  if (object == nullptr || factory == nullptr || *object != velmora::ID_ProcessorObject) {
    return velmora::RESULT_INVALID_ARGUMENT;
  }
  auto *const made =
      new (std::nothrow) velmora::CDataProcessorFactory(the_module.content_handlers());
  if (made == nullptr) return velmora::RESULT_OUT_OF_MEMORY;
  *factory = made;
  made->AddRef();
  return velmora::RESULT_OK;
}

[[gnu::visibility("default")]] std::int32_t GetObjectCount() {
  return velmora::LiveObjects::Count();
}

}  // extern "C"
