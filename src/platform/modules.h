// Loaded modules (shared libraries) and the symbols in them.
#pragma once

#include <string>

namespace velmora::platform {

using ModuleHandle = void *;

/// Loads a library by path; null on failure.
ModuleHandle LoadModule(const char *path) noexcept;

/// The handle of a library that the process has loaded already under this name; null otherwise.
/// Never loads anything.
ModuleHandle FindLoadedModule(const char *name) noexcept;

/// The address of an exported function; null when the module has none of this name.
void *FindSymbol(ModuleHandle module, const char *name) noexcept;

/// Closes the handle only: the loaded module stays as it is.
void CloseModuleHandle(ModuleHandle module) noexcept;

}  // namespace velmora::platform
