// A module as a host loads it, and what it makes.
#pragma once

#include <dlfcn.h>
#include <stdexcept>

#include "base/counted_pointer.h"
#include "base/modules.h"

namespace velmora::testing {

class LoadedModule {
 public:
  explicit LoadedModule(const char *file) : handle_(base::LoadModule(file)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  LoadedModule(const LoadedModule &) = delete;
  LoadedModule &operator=(const LoadedModule &) = delete;
  ~LoadedModule() { base::UnloadModule(handle_); }

  void *handle() const { return handle_; }
  template <class Function>
  Function Find(const char *name) const {
    return reinterpret_cast<Function>(base::FindSymbol(handle_, name));
  }
  /// Null when it makes none.
  CountedPointer<IDataProcessorFactory> Factory() const {
    return base::AskForFactory(EXPORT_ORDINAL_3,
                               [this](const char *name) { return base::FindSymbol(handle_, name); })
        .factory;
  }
  template <class Interface>
  CountedPointer<Interface> Make(const Identifier &identifier) const {
    void *made = nullptr;
    Factory()->CreateInstance(&identifier, &made);
    return CountedPointer<Interface>::Adopt(static_cast<Interface *>(made));
  }

 private:
  void *handle_;
};

}  // namespace velmora::testing
