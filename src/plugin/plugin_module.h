// Module: what all transactions of the plug-in share, and how its concrete parts are put together.
#pragma once

#include <memory>

#include "core/ad_blocking.h"
#include "core/ad_library_binding.h"
#include "diag/capture.h"
#include "diag/log.h"
#include "filter/event_attribute_names.h"
#include "html/converter.h"
#include "pipeline/content_handler_table.h"
#include "platform/registry.h"

namespace velmora {

/// Built when the library is loaded and closed when it is unloaded or the process ends; threads may
/// still feed transactions then, so it lives on for as long as any of them holds it. The members
/// are constructed in the order in which they stand, the log last, so that nothing built before it
/// writes to it, and destroyed in reverse.
class Module : public std::enable_shared_from_this<Module> {
 public:
  Module(const platform::Registry &registry, const ModuleAccess &modules);
  Module(const Module &) = delete;
  Module &operator=(const Module &) = delete;

  /// Lets go of what lies outside the module: log, captures, ad-blocking object. Transactions under
  /// way go on without.
  void Close() noexcept;

  /// The kinds of body that the plug-in handles, with a hold on the module, whose objects their
  /// handlers use.
  ContentHandlerTablePointer content_handlers() const noexcept {
    return {shared_from_this(), &content_handlers_};
  }

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
