// The binding to the ad-blocking library that the host process has loaded.
#pragma once

#include <functional>

#include <velmora/ad_blocker.h>

#include "base/modules.h"

namespace velmora {

/// How the binding reaches loaded modules, unless a test puts in others. Closing a handle does not
/// unload.
struct ModuleAccess {
  std::function<base::ModuleHandle(const char *name)> find_loaded = base::FindLoadedModule;
  std::function<void *(base::ModuleHandle, const char *name)> find_symbol = base::FindSymbol;
  std::function<void(base::ModuleHandle)> close_handle = [](base::ModuleHandle) {};
};

/// Gets the ad-blocking object of the library `AD_LIBRARY_NAME`, with one reference for the caller;
/// null when no such library is loaded or it does not hand one out. Silent about failures. An
/// object that says it is not ready is returned, and used, all the same.
///
/// The library is never loaded here, and once it is found it stays in the process: the handle is
/// kept when the object is ready, and closing a handle does not unload.
IAdBlocker *BindAdLibrary(const ModuleAccess &modules = {});

}  // namespace velmora
