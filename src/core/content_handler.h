// CContentHandler: what the processor and every content handler have in common.
#pragma once

#include <cstdint>

#include <velmora/data_processor.h>

#include "core/counted_object.h"

namespace velmora {

/// One `ProcessData` call: the bytes [offset, offset + length) of the buffer, which lie wholly
/// inside it, and the bytes after them.
class Chunk {
 public:
  /// A range that reaches past the buffer's end is cut there.
  Chunk(IDataBuffer &buffer, std::uint32_t offset, std::uint32_t length,
        std::uint32_t flags) noexcept;

  IDataBuffer &buffer() const noexcept { return buffer_; }
  std::uint32_t offset() const noexcept { return offset_; }
  /// The length at entry; edits do not change it.
  std::uint32_t length() const noexcept { return length_; }
  std::uint32_t flags() const noexcept { return flags_; }
  bool IsStart() const noexcept { return (flags_ & DATA_FLAG_START) != 0; }
  bool IsEnd() const noexcept { return (flags_ & DATA_FLAG_END) != 0; }

  /// First byte of the chunk; valid until the next edit.
  std::uint8_t *Data() const noexcept { return buffer_.GetData() + offset_; }
  /// The chunk's end as it stands now: the buffer's size less the bytes that stood after the
  /// chunk at entry, so that it follows every edit.
  std::uint32_t End() const noexcept;

  void CommitAll() const noexcept { buffer_.SetCommitted(End()); }
  void CommitNothing() const noexcept { buffer_.SetCommitted(offset_); }

 private:
  IDataBuffer &buffer_;
  std::uint32_t offset_;
  std::uint32_t length_;
  std::uint32_t flags_;
  std::uint32_t tail_;
};

/// Implements `IDataProcessor` over two operations that may throw. Nothing thrown leaves through
/// the interface: a transaction in trouble becomes pass-through, everything held is committed.
class CContentHandler : public CCounted<IDataProcessor, ID_DataProcessor> {
 public:
  ~CContentHandler() override;

  /// Stores the context with a reference, then `Attach`. One stored earlier is overwritten, not
  /// released: a host sets the context once.
  bool SetContext(IDataContext *context) noexcept final;
  bool IsSupported() noexcept override { return true; }
  bool ProcessData(IDataBuffer *buffer, std::uint32_t offset, std::uint32_t length,
                   std::uint32_t flags) noexcept final;

  /// `ProcessData` for callers that deal with trouble themselves: the processor releases a handler
  /// that throws. The chunk is committed whole before the handler sees it.
  void Handle(const Chunk &chunk) {
    chunk.CommitAll();
    Process(chunk);
  }
  /// Something was thrown since the transaction began.
  bool IsInTrouble() const noexcept { return in_trouble_; }

 protected:
  /// The context was just stored (it may be null). The answer is `SetContext`'s.
  virtual bool Attach() { return true; }
  /// Deals with one chunk, all of which is committed; lower the commit position to hold back.
  virtual void Process(const Chunk &chunk) = 0;
  /// `Attach` or `Process` threw; the body passes through until the next one starts.
  virtual void OnTrouble() noexcept {}

  /// Null before `SetContext`.
  IDataContext *context() const noexcept { return context_; }

 private:
  void GetIntoTrouble() noexcept;

  IDataContext *context_ = nullptr;
  bool in_trouble_ = false;
};

}  // namespace velmora
