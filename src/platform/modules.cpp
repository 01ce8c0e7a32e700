#include "platform/modules.h"

#include <dlfcn.h>

namespace velmora::platform {

ModuleHandle LoadModule(const char *path) noexcept {
  return ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

ModuleHandle FindLoadedModule(const char *name) noexcept {
  return ::dlopen(name, RTLD_NOW | RTLD_NOLOAD);
}

void *FindSymbol(ModuleHandle module, const char *name) noexcept {
  return ::dlsym(module, name);
}

void CloseModuleHandle(ModuleHandle) noexcept {}

}  // namespace velmora::platform
