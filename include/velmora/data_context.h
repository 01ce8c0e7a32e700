// IDataContext: what a host tells the plug-in about one transaction, and what it hears back.
#pragma once

#include <cstdint>
#include <vector>

#include <velmora/counted.h>

namespace velmora {

/// The transaction's URL. Never null; empty when unknown.
inline constexpr std::int32_t PROPERTY_URL = 0;
/// The host name of that URL. Never null; empty when unknown.
inline constexpr std::int32_t PROPERTY_HOST = 1;
/// The response's Content-Type value with its parameters; null when there is none.
inline constexpr std::int32_t PROPERTY_CONTENT_TYPE = 2;

/// Settings that the plug-in asks for; a null answer means the default.
/// List of body handlers to use ("HTML;JS;VBS;GIF" by default, "CAPTURE" in addition). Searched
/// for each keyword as a plain substring, in this letter case.
inline constexpr char SETTING_DATA_HANDLERS[] = "DataHandlers";
/// "true" in any letter case: every start tag is written to the debug log.
inline constexpr char SETTING_DUMP_HTML_ELEMENTS[] = "DumpHTMLElements";
/// "true" in any letter case: every script string is written to the debug log.
inline constexpr char SETTING_DUMP_SCRIPT_STRINGS[] = "DumpScriptStrings";

/// Implemented by the host, one for each transaction. Strings that it returns stay its own and
/// must live at least until the plug-in's current call returns.
class IDataContext : public ICounted {
 public:
  /// The property with one of the ids above.
  virtual const char *GetProperty(std::int32_t property) noexcept = 0;
  /// The value of a named setting, or null when it is not set.
  virtual const char *GetSetting(const char *name) noexcept = 0;
  /// Does the user want this kind of content blocked? Codes: <velmora/categories.h>.
  virtual bool IsCategoryEnabled(std::int32_t category) noexcept = 0;
  /// A byte block whose second little-endian 32-bit word (bytes 4 to 7) is a mask of category
  /// bits that are switched off for this transaction. Blocks of less than 4 bytes mean no mask.
  /// A `std::vector` crosses the boundary here: host and plug-in must be built against the same
  /// C++ library in the same mode.
  virtual const std::vector<std::uint8_t> &GetOptionBlock() noexcept = 0;
  /// An item was blocked: `count` is always 1; `item` and `detail` are never null.
  virtual void ReportBlocked(std::int32_t count, std::int32_t category, const char *item,
                             const char *detail) noexcept = 0;

 protected:
  ~IDataContext() = default;
};

}  // namespace velmora
