// IDataProcessor: one object for each HTTP response, fed with the body chunk by chunk.
#pragma once

#include <cstdint>

#include <velmora/counted.h>
#include <velmora/data_buffer.h>
#include <velmora/data_context.h>

namespace velmora {

/// First call of a transaction.
inline constexpr std::uint32_t DATA_FLAG_START = 1;
/// Last call of a transaction. A body delivered in one call carries both flags.
inline constexpr std::uint32_t DATA_FLAG_END = 2;

/// Implemented by the plug-in. The order of calls for one transaction: `SetContext`,
/// `IsSupported`, then, if it said true, `ProcessData` with `DATA_FLAG_START` on the first call and
/// `DATA_FLAG_END` on the last, then `Release`. One thread at a time.
class IDataProcessor : public ICounted {
 public:
  /// Stores the context and takes a reference to it. The answer has no meaning for a host.
  virtual bool SetContext(IDataContext *context) noexcept = 0;
  /// Does the plug-in want this transaction's body?
  virtual bool IsSupported() noexcept = 0;
  /// Processes the bytes [offset, offset + length) of the buffer; always true. They begin with the
  /// bytes that the previous call left after the commit position. Afterwards the bytes before the
  /// commit position may be sent on.
  virtual bool ProcessData(IDataBuffer *buffer, std::uint32_t offset, std::uint32_t length,
                           std::uint32_t flags) noexcept = 0;

 protected:
  ~IDataProcessor() = default;
};

}  // namespace velmora
