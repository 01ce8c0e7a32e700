#include "plugin/data_processor_factory.h"

#include <new>

#include "pipeline/data_processor.h"

namespace velmora {

Status CDataProcessorFactory::CreateInstance(const Identifier *identifier, void **output) noexcept {
  if (output == nullptr) return RESULT_INVALID_ARGUMENT;
  *output = nullptr;
  auto *const processor = new (std::nothrow) CDataProcessor(table_);
  if (processor == nullptr) return RESULT_OUT_OF_MEMORY;
  const Status status = processor->QueryInterface(identifier, output);
  if (IsFailure(status)) {
    delete processor;
    return status;
  }
  LiveObjects::Add();
  return status;
}

}  // namespace velmora
