// CDataProcessorFactory: makes the module's processors.
#pragma once

#include <velmora/module.h>

#include "core/counted_object.h"
#include "pipeline/content_handler_table.h"

namespace velmora {

/// For `ID_Unknown` it answers with the object itself, not with its factory interface; callers use
/// the factory through the pointer that `GetFactory` gave them.
class CDataProcessorFactory final
    : public CCounted<IDataProcessorFactory, ID_Factory, UnknownAnswer::OBJECT> {
 public:
  /// `table` must outlive the factory and all that it makes.
  explicit CDataProcessorFactory(const ContentHandlerTable &table) : table_(table) {}

  Status CreateInstance(const Identifier *identifier, void **output) noexcept override;

 private:
  const ContentHandlerTable &table_;
};

}  // namespace velmora
