#include "plugin/sibling_module.h"

#include "base/module_factory.h"

namespace velmora {
namespace {

bool MakeObject(platform::ModuleHandle module, const char *object_id_export,
                const Identifier &interface, void **output) noexcept {
  const auto answer = base::AskForFactory(
      object_id_export, [&](const char *name) { return platform::FindSymbol(module, name); });
  return answer.factory && answer.factory->CreateInstance(&interface, output) == RESULT_OK;
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
