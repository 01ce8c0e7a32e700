#include "html/page_chunk.h"

#include <algorithm>

namespace velmora {

bool PageChunk::Contains(std::uint32_t position, std::uint32_t length) const noexcept {
  const std::uint32_t end = chunk_->End();
  return position >= chunk_->offset() && position <= end && length <= end - position;
}

std::int32_t PageChunk::Replace(std::uint32_t position, std::uint32_t old_length,
                                std::string_view text) const noexcept {
  if (!Contains(position, 0)) return 0;
  old_length = std::min(old_length, chunk_->End() - position);
  if (old_length == 0 && text.empty()) return 0;
  NoteEdit();
  const std::uint32_t size_before = buffer().GetSize();
  buffer().Replace(position, old_length, reinterpret_cast<const std::uint8_t *>(text.data()),
                   static_cast<std::uint32_t>(text.size()));
  return static_cast<std::int32_t>(buffer().GetSize() - size_before);
}

}  // namespace velmora
