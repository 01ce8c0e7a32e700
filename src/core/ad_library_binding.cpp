#include "core/ad_library_binding.h"

#include <velmora/module.h>

#include "core/counted_pointer.h"

namespace velmora {
namespace {

template <class Function>
Function FindFunction(const ModuleAccess &modules, platform::ModuleHandle library,
                      const char *name) {
  return reinterpret_cast<Function>(modules.find_symbol(library, name));
}

/// The library's function that makes factories, and the identifier to ask it for. No function when
/// the library does not name its object.
struct Entry {
  Identifier object{};
  GetFactoryFunction get_factory = nullptr;
};

Entry FindEntry(const ModuleAccess &modules, platform::ModuleHandle library) {
  Entry entry;
  const auto get_object_id = FindFunction<GetObjectIdFunction>(modules, library, EXPORT_ORDINAL_3);
  if (get_object_id != nullptr && get_object_id(&entry.object) == RESULT_OK) {
    entry.get_factory = FindFunction<GetFactoryFunction>(modules, library, EXPORT_GET_FACTORY);
  }
  return entry;
}

/// True when the factory has made an object that is ready. `object` is what the factory stored,
/// whatever it answered.
bool MakeReadyObject(IDataProcessorFactory &factory, IAdBlocker *&object) {
  void *made = nullptr;
  const Status status = factory.CreateInstance(&ID_AdBlocker, &made);
  object = static_cast<IAdBlocker *>(made);
  return status == RESULT_OK && object != nullptr && object->IsReady() == 1;
}

}  // namespace

IAdBlocker *BindAdLibrary(const ModuleAccess &modules) {
  const platform::ModuleHandle library = modules.find_loaded(AD_LIBRARY_NAME);
  if (library == nullptr) return nullptr;

  const Entry entry = FindEntry(modules, library);
  if (entry.get_factory == nullptr) {
    modules.close_handle(library);
    return nullptr;
  }

  IDataProcessorFactory *made = nullptr;
  const Status status = entry.get_factory(&entry.object, &made);
  const auto factory = CountedPointer<IDataProcessorFactory>::Adopt(made);
  IAdBlocker *object = nullptr;
  if (status != RESULT_OK || !factory || !MakeReadyObject(*factory, object)) {
    modules.close_handle(library);
  }
  return object;
}

}  // namespace velmora
