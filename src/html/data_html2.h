// CDataHTML2: the content handler for HTML pages.
#pragma once

#include <memory>
#include <span>

#include "core/content_handler.h"
#include "html/encoding_stack.h"
#include "html/handler_list.h"
#include "html/open_elements.h"
#include "html/page_chunk.h"
#include "html/page_position.h"
#include "html/read_ahead.h"
#include "html/text_place.h"
#include "html/tokenizer.h"

namespace velmora {

/// Walks the page one character at a time where it lies in the host's buffer. Output is held back
/// from every "<" until the tag is complete, and while an element is open that may still be
/// removed.
class CDataHTML2 final : public CContentHandler, private TokenizerClient {
 public:
  /// `make_filters` adds the page's handlers after the charset handlers, at every `SetContext`.
  explicit CDataHTML2(FilterMaker make_filters);
  ~CDataHTML2() override;

 protected:
  bool Attach() override;
  void Process(const Chunk &chunk) override;
  void OnTrouble() noexcept override { Clear(); }

 private:
  void OnTag(const Tag &tag) override;
  void TestByteOrder() override;

  void Start();
  void ReadCharacters();
  void SkipInvalidByte(std::uint8_t byte);
  void Finish();
  void Clear() noexcept;
  void TellMemoryIfMuch() noexcept;
  void RefreshBytes() noexcept;
  std::span<const std::uint8_t> Rest() const noexcept;

  FilterMaker make_filters_;
  PageChunk page_;
  PagePosition position_;
  TextPlace place_;
  EncodingStack encodings_;
  HandlerList handlers_;
  OpenElements elements_{page_, position_, place_, encodings_, handlers_};
  Tokenizer tokenizer_{position_, place_, *this};
  ReadAhead read_ahead_{page_, position_, place_, encodings_, handlers_, elements_, tokenizer_};

  bool has_told_memory_ = false;
  /// The held bytes up to the chunk's end, as they stood after the last edit.
  std::span<const std::uint8_t> bytes_;
};

}  // namespace velmora
