// CDataProcessorFactory: makes the module's processors.
#pragma once

#include <utility>

#include <velmora/module.h>

#include "core/counted_object.h"
#include "pipeline/content_handler_table.h"

namespace velmora {

/// For `ID_Unknown` it answers with the object itself, not with its factory interface; callers use
/// the factory through the pointer that `GetFactory` gave them.
class CDataProcessorFactory final
    : public CCounted<IDataProcessorFactory, ID_Factory, UnknownAnswer::OBJECT> {
 public:
  explicit CDataProcessorFactory(ContentHandlerTablePointer table) : table_(std::move(table)) {}

  Status CreateInstance(const Identifier *identifier, void **output) noexcept override;

 private:
  const ContentHandlerTablePointer table_;
};

}  // namespace velmora
