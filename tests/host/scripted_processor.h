// A processor whose calls are a function of the test.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <velmora/velmora.h>

namespace velmora::host {

struct ProcessorCall {
  std::string bytes;
  std::uint32_t flags;

  friend bool operator==(const ProcessorCall &, const ProcessorCall &) = default;
};

/// Lives in the test. Commits all and then calls `process`; records the calls.
class ScriptedProcessor final : public IDataProcessor {
 public:
  using Process = std::function<void(IDataBuffer &buffer, std::uint32_t flags)>;

  explicit ScriptedProcessor(Process function = {}) : process(std::move(function)) {}

  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return ++references; }
  std::int32_t Release() noexcept override { return --references; }
  bool SetContext(IDataContext *given) noexcept override {
    context = given;
    return true;
  }
  bool IsSupported() noexcept override { return supported; }
  bool ProcessData(IDataBuffer *buffer, std::uint32_t offset, std::uint32_t length,
                   std::uint32_t flags) noexcept override {
    if (records_calls) {
      const std::string_view bytes(reinterpret_cast<const char *>(buffer->GetData()),
                                   buffer->GetSize());
      calls.push_back({std::string(bytes.substr(offset, length)), flags});
    }
    buffer->SetCommitted(offset + length);
    if (process) process(*buffer, flags);
    return true;
  }

  Process process;
  bool supported = true;
  bool records_calls = true;
  IDataContext *context = nullptr;
  std::int32_t references = 1;
  std::vector<ProcessorCall> calls;
};

}  // namespace velmora::host
