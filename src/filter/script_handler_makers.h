// How the filters get at handlers for the text of inline scripts.
#pragma once

#include <functional>

#include <velmora/data_processor.h>

namespace velmora {

/// Makes a new content handler without references; null or `std::bad_alloc` when it cannot be made.
/// An empty function makes none.
using ScriptHandlerMaker = std::function<IDataProcessor *()>;

/// One for each language. The scripts' own code stands beside the filters, not below them.
struct ScriptHandlerMakers {
  ScriptHandlerMaker javascript;
  ScriptHandlerMaker vbscript;
};

}  // namespace velmora
