// ContentHandlerTable: which handler takes which kind of body.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/counted_pointer.h"
#include "core/content_handler.h"
#include "core/strings.h"

namespace velmora {

using ContentHandlerPointer = CountedPointer<CContentHandler>;

/// One kind of body.
struct ContentHandlerRow {
  /// The Content-Type begins with this, letter case aside.
  std::string_view type_prefix;
  /// Must occur in the setting "DataHandlers" for the handler to be made.
  std::string_view keyword;
  /// The body is only wanted while this category is on; 0: always.
  std::int32_t required_category;
  std::function<ContentHandlerPointer()> make;
};

/// What the processor selects from; put together by the module. The first row that fits the type is
/// taken. `wrap_capture` makes the capture around a handler, which may be null.
struct ContentHandlerTable {
  std::vector<ContentHandlerRow> rows;
  std::function<ContentHandlerPointer(ContentHandlerPointer inner)> wrap_capture;
  /// The value of "DataHandlers" when a host does not set it.
  std::string default_handlers;

  /// The row for a Content-Type; null when no handler takes it.
  const ContentHandlerRow *Find(std::string_view content_type) const noexcept {
    for (const ContentHandlerRow &row : rows) {
      if (StartsWithNoCase(content_type, row.type_prefix)) return &row;
    }
    return nullptr;
  }
};

/// Holds the table, and with it all that its handlers use.
using ContentHandlerTablePointer = std::shared_ptr<const ContentHandlerTable>;

}  // namespace velmora
