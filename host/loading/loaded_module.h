// Module: a loaded library that makes objects by way of a factory.
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include <velmora/module.h>

#include "base/counted_pointer.h"

namespace velmora::host {

/// A library that cannot be loaded, or that does not answer as it should. The text names the file.
class LoadError : public std::runtime_error {
 public:
  LoadError(const std::filesystem::path &file, const std::string &what)
      : std::runtime_error(file.string() + ": " + what) {}
};

/// Unloaded when it is destroyed: what came out of it is released before.
class Module {
 public:
  /// Throws `LoadError`.
  explicit Module(std::filesystem::path file);

  /// Asks the export `id_export` for the module's object identifier and "GetFactory" for its
  /// factory. Throws `LoadError`.
  CountedPointer<IDataProcessorFactory> GetFactory(const char *id_export) const;

  /// Throws `LoadError` when there is no such export.
  template <class Function>
  Function Find(const char *name) const {
    return reinterpret_cast<Function>(FindAddress(name));
  }

  /// Null when there is no such export.
  template <class Function>
  Function FindIfThere(const char *name) const noexcept {
    return reinterpret_cast<Function>(AddressOrNull(name));
  }

  const std::filesystem::path &File() const noexcept { return file_; }
  /// The module that the process finds under a SONAME is this one.
  bool IsFoundAs(const char *soname) const noexcept;

 private:
  struct Closer {
    void operator()(void *handle) const noexcept;
  };

  void *FindAddress(const char *name) const;
  void *AddressOrNull(const char *name) const noexcept;

  std::filesystem::path file_;
  std::unique_ptr<void, Closer> handle_;
};

}  // namespace velmora::host
