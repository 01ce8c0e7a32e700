// Loaded modules (shared libraries): found, asked for their exports and for their factory.
#pragma once

#include <dlfcn.h>

#include <velmora/module.h>

#include "base/counted_pointer.h"

namespace velmora::base {

using ModuleHandle = void *;

/// Loads a library by path; null on failure, of which `dlerror` tells.
inline ModuleHandle LoadModule(const char *path) noexcept {
  return ::dlopen(path, RTLD_NOW | RTLD_LOCAL);
}

/// The handle of a library that the process has loaded already under this name; null otherwise.
/// Never loads anything.
inline ModuleHandle FindLoadedModule(const char *name) noexcept {
  return ::dlopen(name, RTLD_NOW | RTLD_NOLOAD);
}

/// The address of an exported function; null when the module has none of this name.
inline void *FindSymbol(ModuleHandle module, const char *name) noexcept {
  return ::dlsym(module, name);
}

/// The last handle that is given back unloads the module.
inline void UnloadModule(ModuleHandle module) noexcept {
  ::dlclose(module);
}

struct FactoryAnswer {
  /// Null when a step failed.
  CountedPointer<IDataProcessorFactory> factory{};
  /// One that came with a failure: not to be used, and released after what its asker does then.
  CountedPointer<IDataProcessorFactory> refused{};
  /// The export at which it failed.
  const char *failed_export = nullptr;
  /// The module has no such export.
  bool is_missing = false;
};

/// Asks the export `id_export` for the module's object identifier and "GetFactory" for the factory
/// of that object. `find_symbol` takes an export's name and answers its address, or null.
template <class FindSymbol>
FactoryAnswer AskForFactory(const char *id_export, FindSymbol find_symbol) {
  const auto get_object_id = reinterpret_cast<GetObjectIdFunction>(find_symbol(id_export));
  if (get_object_id == nullptr) return {.failed_export = id_export, .is_missing = true};
  Identifier object;
  if (get_object_id(&object) != RESULT_OK) return {.failed_export = id_export};

  const auto get_factory = reinterpret_cast<GetFactoryFunction>(find_symbol(EXPORT_GET_FACTORY));
  if (get_factory == nullptr) return {.failed_export = EXPORT_GET_FACTORY, .is_missing = true};
  IDataProcessorFactory *made = nullptr;
  const Status status = get_factory(&object, &made);
  auto factory = CountedPointer<IDataProcessorFactory>::Adopt(made);
  if (status == RESULT_OK && factory) return {.factory = std::move(factory)};
  return {.refused = std::move(factory), .failed_export = EXPORT_GET_FACTORY};
}

}  // namespace velmora::base
