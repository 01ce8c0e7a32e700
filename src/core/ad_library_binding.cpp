#include "core/ad_library_binding.h"

#include "base/modules.h"

namespace velmora {
namespace {

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
  const base::ModuleHandle library = modules.find_loaded(AD_LIBRARY_NAME);
  if (library == nullptr) return nullptr;

  const auto answer = base::AskForFactory(
      EXPORT_ORDINAL_3, [&](const char *name) { return modules.find_symbol(library, name); });
  IAdBlocker *object = nullptr;
  if (!answer.factory || !MakeReadyObject(*answer.factory, object)) modules.close_handle(library);
  return object;
}

}  // namespace velmora
