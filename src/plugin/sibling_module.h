// Loading of a sibling module: another library of this kind.
#pragma once

#include <string>

#include <velmora/identifier.h>

#include "base/modules.h"

namespace velmora {

/// Loads the module at `path`, asks it for its object identifier through the export
/// `object_id_export`, and stores in `*output` the interface `interface` of one object of it, with
/// a reference for the caller. Returns the module's handle, or null when any step fails; the loaded
/// library itself stays loaded in either case.
base::ModuleHandle LoadSiblingModule(const std::string &path, const char *object_id_export,
                                     const Identifier &interface, void **output) noexcept;

}  // namespace velmora
