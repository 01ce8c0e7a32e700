// IHTMLElement: what an element offers to handlers and to the tokenizer, 17 operations.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <velmora/data_processor.h>

namespace velmora {

class CHTMLElement;

/// After the start-tag handlers the element is destroyed at once; no end-tag handling.
inline constexpr std::uint32_t ELEMENT_DROP = 1;
/// While the element is open the page's output is held back, so that it can still be removed.
inline constexpr std::uint32_t ELEMENT_HOLD = 2;
/// The end-tag handlers run for it when it is closed, in whatever way.
inline constexpr std::uint32_t ELEMENT_NEED_END = 4;
/// The default end-tag operation removes the whole element.
inline constexpr std::uint32_t ELEMENT_REMOVE_AT_END = 8;
/// How a handler has an element removed with all its content.
inline constexpr std::uint32_t ELEMENT_REMOVAL =
    ELEMENT_HOLD | ELEMENT_NEED_END | ELEMENT_REMOVE_AT_END;

/// Where `InsertText` inserts.
enum InsertPosition : std::uint32_t {
  INSERT_BEFORE_START = 0,
  INSERT_AFTER_START = 1,
  INSERT_BEFORE_END = 2,
  INSERT_AFTER_END = 3,
};

/// Editing operations change the page in place and return the change in its length, in bytes. Text
/// is UTF-8 and is written in the page's character set; what does not convert is cut off.
class IHTMLElement {
 public:
  virtual std::string GetName() const = 0;
  /// The innermost element that was open when this one started; null at top level. Lives as long as
  /// this one. Attributes are kept of those alone whose end tag somebody waits for.
  virtual CHTMLElement *GetParent() const = 0;
  virtual std::uint32_t GetAttributeCount() const noexcept = 0;
  /// False when there is no such attribute; otherwise copies its name and its value as written.
  virtual bool GetAttributeAt(std::uint32_t index, std::string &name, std::string &value) const = 0;
  /// The value of the first attribute of this name, letter case aside; false when there is none.
  virtual bool GetAttribute(std::string_view name, std::string &value) const = 0;
  /// Writes `value`, with the quotes it is to have, over the value of each attribute of this name.
  /// An attribute that is missing or has no value stays so. The spans after it move by the last
  /// change only, which is also the result.
  virtual std::int32_t SetAttribute(std::string_view name, std::string_view value) = 0;
  /// Deletes an attribute with its value; white space before it stays. 0 when there is none.
  virtual std::int32_t RemoveAttributeAt(std::uint32_t index) = 0;
  /// Deletes each attribute of this name; positions move as in `SetAttribute`.
  virtual std::int32_t RemoveAttribute(std::string_view name) = 0;
  /// Passes the content between the tags through a handler, in one call.
  virtual std::int32_t FilterContent(IDataProcessor *handler) = 0;
  /// Inserts text at one of the four tag positions; 0 when that position is unknown.
  virtual std::int32_t InsertText(std::string_view text, std::uint32_t where) = 0;
  /// Deletes the element from its start tag to its end tag (the start tag alone while the end tag
  /// is unknown).
  virtual std::int32_t Remove() = 0;
  /// For the tokenizer: where the end tag stands.
  virtual void SetEndTag(std::uint32_t begin, std::uint32_t end) noexcept = 0;
  /// For the tokenizer: the buffer index that the tag positions are relative to.
  virtual void SetBase(std::uint32_t base) noexcept = 0;
  /// Moves all known tag positions; for a handler that inserted text through an enclosing element.
  virtual void Shift(std::int32_t change) noexcept = 0;
  virtual std::uint32_t GetFlags() const noexcept = 0;
  virtual void SetFlags(std::uint32_t bits) noexcept = 0;
  virtual void ClearFlags(std::uint32_t bits) noexcept = 0;

 protected:
  ~IHTMLElement() = default;
};

}  // namespace velmora
