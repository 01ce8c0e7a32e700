// The services that a script's token list is made with: OS_SERVICES, but a temporary file that
// cannot be made, or written on, goes on in memory, so that a full disk lets no script through.
#pragma once

#include "script/os_services.h"

namespace velmora {

/// Only what a token list asks for: memory, and temporary files without a name.
extern const OsServices SPILL_SERVICES;

}  // namespace velmora
