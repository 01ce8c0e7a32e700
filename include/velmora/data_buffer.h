// IDataBuffer: the body bytes of one transaction, held by the host.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// Implemented by the host: the bytes of one response body that are not yet sent on.
///
/// The plug-in edits the bytes in place and moves the commit position, which says how many of
/// them are final. Bytes after the commit position come again, in front of the newly arrived
/// ones, at the next call. The plug-in never calls the reference-counting operations.
class IDataBuffer : public ICounted {
 public:
  /// The first held byte. Valid until the next call that changes the buffer.
  virtual std::uint8_t *GetData() noexcept = 0;
  /// Number of bytes held.
  virtual std::uint32_t GetSize() noexcept = 0;
  /// The commit position, an index into the held bytes.
  virtual std::uint32_t GetCommitted() noexcept = 0;
  /// Bytes before `position` are final and may be sent on; the rest are held back.
  virtual void SetCommitted(std::uint32_t position) noexcept = 0;
  /// Two operations that the plug-in never calls.
  virtual void Reserved7() noexcept = 0;
  virtual void Reserved8() noexcept = 0;
  /// Replaces `old_length` bytes at `position` by the `new_length` bytes at `bytes`; what
  /// comes after them moves. A commit mark at or after the replaced range moves by the difference,
  /// a mark inside it goes to the end of the new bytes, a mark before it stays. A position past the
  /// end is ignored, a length past the end is cut. `bytes` do not lie in the buffer.
  virtual void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *bytes,
                       std::uint32_t new_length) noexcept = 0;

 protected:
  ~IDataBuffer() = default;
};

}  // namespace velmora
