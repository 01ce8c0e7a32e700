#include "plugin/sibling_module.h"

#include <velmora/module.h>

#include "core/counted_pointer.h"

namespace velmora {
namespace {

template <class Function>
Function FindFunction(platform::ModuleHandle module, const char *name) noexcept {
  return reinterpret_cast<Function>(platform::FindSymbol(module, name));
}

bool MakeObject(platform::ModuleHandle module, const char *object_id_export,
                const Identifier &interface, void **output) noexcept {
  const auto get_object_id = FindFunction<GetObjectIdFunction>(module, object_id_export);
  Identifier object;
  if (get_object_id == nullptr || get_object_id(&object) != RESULT_OK) return false;

  const auto get_factory = FindFunction<GetFactoryFunction>(module, EXPORT_GET_FACTORY);
  if (get_factory == nullptr) return false;
  IDataProcessorFactory *made = nullptr;
  const Status status = get_factory(&object, &made);
  const auto factory = CountedPointer<IDataProcessorFactory>::Adopt(made);
  return status == RESULT_OK && factory && factory->CreateInstance(&interface, output) == RESULT_OK;
}

}  // namespace

platform::ModuleHandle LoadSiblingModule(const std::string &path, const char *object_id_export,
                                         const Identifier &interface, void **output) noexcept {
  const platform::ModuleHandle module = platform::LoadModule(path.c_str());
  if (module == nullptr) return nullptr;
  if (MakeObject(module, object_id_export, interface, output)) return module;
  platform::CloseModuleHandle(module);
  return nullptr;
}

}  // namespace velmora
