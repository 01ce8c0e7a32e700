#include "host/loading/loaded_module.h"

#include <dlfcn.h>
#include <utility>

#include "base/modules.h"

namespace velmora::host {

Module::Module(std::filesystem::path file) : file_(std::move(file)) {
  std::error_code error;
  if (!std::filesystem::exists(file_, error)) throw LoadError(file_, "no such file");
  // A bare name would be looked for in the system's library folders.
  handle_.reset(base::LoadModule(std::filesystem::absolute(file_).c_str()));
  if (handle_ == nullptr) throw LoadError(file_, std::string("cannot be loaded: ") + dlerror());
}

void Module::Closer::operator()(void *handle) const noexcept {
  base::UnloadModule(handle);
}

bool Module::IsFoundAs(const char *soname) const noexcept {
  const std::unique_ptr<void, Closer> found(base::FindLoadedModule(soname));
  return found.get() == handle_.get();
}

void *Module::AddressOrNull(const char *name) const noexcept {
  return base::FindSymbol(handle_.get(), name);
}

void *Module::FindAddress(const char *name) const {
  void *const address = AddressOrNull(name);
  if (address == nullptr) throw LoadError(file_, std::string("does not export ") + name);
  return address;
}

CountedPointer<IDataProcessorFactory> Module::GetFactory(const char *id_export) const {
  auto answer =
      base::AskForFactory(id_export, [this](const char *name) { return AddressOrNull(name); });
  if (answer.factory) return std::move(answer.factory);
  throw LoadError(file_, answer.is_missing ? std::string("does not export ") + answer.failed_export
                                           : std::string(answer.failed_export) + " failed");
}

}  // namespace velmora::host
