#include "plugin/sibling_module.h"

#include "base/modules.h"

namespace velmora {
namespace {

bool MakeObject(base::ModuleHandle module, const char *object_id_export,
                const Identifier &interface, void **output) noexcept {
  const auto answer = base::AskForFactory(
      object_id_export, [&](const char *name) { return base::FindSymbol(module, name); });
  return answer.factory && answer.factory->CreateInstance(&interface, output) == RESULT_OK;
}

}  // namespace

base::ModuleHandle LoadSiblingModule(const std::string &path, const char *object_id_export,
                                     const Identifier &interface, void **output) noexcept {
  const base::ModuleHandle module = base::LoadModule(path.c_str());
  const bool is_made = module != nullptr && MakeObject(module, object_id_export, interface, output);
  return is_made ? module : nullptr;
}

}  // namespace velmora
