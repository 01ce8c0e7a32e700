// Module: all static objects of the plug-in, and how its concrete parts are put together.
#pragma once

#include "core/ad_blocking.h"
#include "core/ad_library_binding.h"
#include "diag/capture.h"
#include "diag/log.h"
#include "filter/event_attribute_names.h"
#include "html/unit_converter.h"
#include "pipeline/content_handler_table.h"
#include "platform/registry.h"

namespace velmora {

/// Built when the library is loaded. The members are constructed in the order in which they stand,
/// the log last, so that nothing built before it writes to it, and destroyed in reverse.
class Module {
 public:
  Module(const platform::Registry &registry, const ModuleAccess &modules);
  Module(const Module &) = delete;
  Module &operator=(const Module &) = delete;

  /// The kinds of body that the plug-in handles. The handlers they make use the module's objects.
  const ContentHandlerTable &content_handlers() const noexcept { return content_handlers_; }

 private:
  ContentHandlerTable MakeContentHandlerTable();

  EventAttributeNames event_attribute_names_;
  AdBlocking ad_blocking_;
  CaptureDirectories capture_directories_;
  /// With the default list of handlers.
  ContentHandlerTable content_handlers_;
  UnitConverter unit_converter_;
  CDebugLog log_;
};

}  // namespace velmora
