// A processor whose calls are a function of the test, and a sink that records.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/bodies/transaction.h"
#include "support/fake_object.h"

namespace velmora::host {

struct ProcessorCall {
  std::string bytes;
  std::uint32_t flags;

  friend bool operator==(const ProcessorCall &, const ProcessorCall &) = default;
};

/// Commits all and then calls `process`; records the calls.
class ScriptedProcessor final : public testing::FakeObject<IDataProcessor> {
 public:
  using Process = std::function<void(IDataBuffer &buffer, std::uint32_t flags)>;

  explicit ScriptedProcessor(Process function = {}) : process(std::move(function)) {}

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
  std::vector<ProcessorCall> calls;
};

class RecordingSink final : public TransactionSink {
 public:
  void OnBlocked(const BlockedItem &item) noexcept override {
    if (is_deaf) return;
    blocked.push_back(std::to_string(item.category) + " " + std::string(item.item) + " " +
                      std::string(item.detail));
  }
  void OnStopped(StopReason reason) noexcept override { stops.push_back(reason); }

  std::vector<std::string> blocked;
  std::vector<StopReason> stops;
  /// Items are not taken down.
  bool is_deaf = false;
};

}  // namespace velmora::host
