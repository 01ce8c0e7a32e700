// The functions that the shared library exports, and the module behind them.
#include <memory>
#include <new>

#include <velmora/module.h>

#include "base/mutex.h"
#include "plugin/data_processor_factory.h"
#include "plugin/plugin_module.h"

namespace {

using velmora::Module;

/// What there is without a registry, a log and other libraries.
std::shared_ptr<Module> MakeClosedModule() {
  velmora::ModuleAccess no_modules;
  no_modules.find_loaded = [](const char *) -> velmora::base::ModuleHandle { return nullptr; };
  auto module = std::make_shared<Module>(velmora::platform::Registry(), no_modules);
  module->Close();
  return module;
}

/// Threads ask for the module until the process is gone: what they ask is never destroyed.
constinit velmora::base::Mutex asking;
constinit Module *the_module VELMORA_GUARDED_BY(asking) = nullptr;
constinit bool has_ended VELMORA_GUARDED_BY(asking) = false;

/// Keeps the module from the time that the library is loaded to its unloading or the process's end.
class Keeper {
 public:
  /// A constructor that the loader calls cannot refuse. Without a module there are no factories.
  Keeper() noexcept {
    try {
      module_ = std::make_shared<Module>(velmora::platform::Registry::OfMachine(),
                                         velmora::ModuleAccess());
    } catch (...) {
      return;
    }
    const velmora::base::MutexLock lock(asking);
    the_module = module_.get();
  }
  Keeper(const Keeper &) = delete;
  Keeper &operator=(const Keeper &) = delete;
  ~Keeper() {
    {
      const velmora::base::MutexLock lock(asking);
      the_module = nullptr;
      has_ended = true;
    }
    if (module_) module_->Close();
  }

 private:
  std::shared_ptr<Module> module_;
};
const Keeper keeper;

/// Null when there is none, for want of memory.
std::shared_ptr<const Module> TheModule() {
  const velmora::base::MutexLock lock(asking);
  if (the_module != nullptr) return the_module->shared_from_this();
  return has_ended ? MakeClosedModule() : nullptr;
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] velmora::Status GetDataProcessorObjectID(
    velmora::Identifier *identifier) {
  *identifier = velmora::ID_ProcessorObject;
  return velmora::RESULT_OK;
}

/// The same function, at the ordinal where modules of this kind look for it.
[[gnu::visibility("default"), gnu::alias("GetDataProcessorObjectID")]] velmora::Status Ordinal_3(
    velmora::Identifier *identifier);

[[gnu::visibility("default")]] velmora::Status GetFactory(
    const velmora::Identifier *object, velmora::IDataProcessorFactory **factory) noexcept {
  if (object == nullptr || factory == nullptr || *object != velmora::ID_ProcessorObject) {
    return velmora::RESULT_INVALID_ARGUMENT;
  }
  try {
    const std::shared_ptr<const Module> module = TheModule();
    if (module == nullptr) return velmora::RESULT_OUT_OF_MEMORY;
    auto *const made = new velmora::CDataProcessorFactory(module->content_handlers());
    *factory = made;
    made->AddRef();
    return velmora::RESULT_OK;
  } catch (...) {
    return velmora::RESULT_OUT_OF_MEMORY;
  }
}

[[gnu::visibility("default")]] std::int32_t GetObjectCount() {
  return velmora::LiveObjects::Count();
}

}  // extern "C"
