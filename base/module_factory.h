// A loaded module asked for its factory: the same steps whoever asks.
#pragma once

#include <velmora/module.h>

#include "base/counted_pointer.h"

namespace velmora::base {

struct FactoryAnswer {
  /// Null when a step failed.
  CountedPointer<IDataProcessorFactory> factory{};
  /// One that came with a failure: not to be used, and released after what its asker does then.
  CountedPointer<IDataProcessorFactory> refused{};
  /// The export at which it failed.
  const char *failed_export = nullptr;
  /// The module has no such export.
  bool is_missing = false;
};

/// Asks the export `id_export` for the module's object identifier and "GetFactory" for the factory
/// of that object. `find_symbol` takes an export's name and answers its address, or null.
template <class FindSymbol>
FactoryAnswer AskForFactory(const char *id_export, FindSymbol find_symbol) {
  const auto get_object_id = reinterpret_cast<GetObjectIdFunction>(find_symbol(id_export));
  if (get_object_id == nullptr) return {.failed_export = id_export, .is_missing = true};
  Identifier object;
  if (get_object_id(&object) != RESULT_OK) return {.failed_export = id_export};

  const auto get_factory = reinterpret_cast<GetFactoryFunction>(find_symbol(EXPORT_GET_FACTORY));
  if (get_factory == nullptr) return {.failed_export = EXPORT_GET_FACTORY, .is_missing = true};
  IDataProcessorFactory *made = nullptr;
  const Status status = get_factory(&object, &made);
  auto factory = CountedPointer<IDataProcessorFactory>::Adopt(made);
  if (status == RESULT_OK && factory) return {.factory = std::move(factory)};
  return {.refused = std::move(factory), .failed_export = EXPORT_GET_FACTORY};
}

}  // namespace velmora::base
