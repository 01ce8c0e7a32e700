#include "core/content_handler.h"

#include <algorithm>

#include "core/host_extensions.h"

namespace velmora {

Chunk::Chunk(IDataBuffer &buffer, std::uint32_t offset, std::uint32_t length,
             std::uint32_t flags) noexcept
    : buffer_(buffer), flags_(flags) {
  const std::uint32_t size = buffer.GetSize();
  offset_ = std::min(offset, size);
  length_ = std::min(length, size - offset_);
  tail_ = size - offset_ - length_;
}

std::uint32_t Chunk::End() const noexcept {
  const std::uint32_t size = buffer_.GetSize();
  return size < tail_ + offset_ ? std::min(offset_, size) : size - tail_;
}

CContentHandler::~CContentHandler() {
  if (context_ != nullptr) context_->Release();
}

bool CContentHandler::SetContext(IDataContext *context) noexcept {
  context_ = context;
  if (context_ != nullptr) context_->AddRef();
  try {
    return Attach();
  } catch (...) {
    GetIntoTrouble();
    return true;
  }
}

bool CContentHandler::ProcessData(IDataBuffer *buffer, std::uint32_t offset, std::uint32_t length,
                                  std::uint32_t flags) noexcept {
  if (buffer == nullptr) return true;
  const Chunk chunk(*buffer, offset, length, flags);
  if (chunk.IsStart()) in_trouble_ = false;
  if (in_trouble_) {
    chunk.CommitAll();
    return true;
  }
  try {
    Handle(chunk);
  } catch (...) {
    chunk.CommitAll();
    GetIntoTrouble();
  }
  return true;
}

void CContentHandler::GetIntoTrouble() noexcept {
  in_trouble_ = true;
  OnTrouble();
  if (context_ != nullptr) TellUnexamined(*context_);
}

}  // namespace velmora
