// What a host may hear and decide beyond `IDataContext`: each asks the context whether it answers
// to the interface too, and does nothing where it does not.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <velmora/ad_review.h>
#include <velmora/data_context.h>

namespace velmora {

/// `ITroubleListener`: something passes unexamined.
void TellUnexamined(IDataContext &context) noexcept;
/// What it says of them; 64 MiB where it says nothing.
std::uint64_t MostMisreadBytes(IDataContext &context) noexcept;
void TellMisreadBytes(IDataContext &context) noexcept;
/// `IPageListener`.
void TellScriptInserted(IDataContext &context, std::int32_t category) noexcept;
void TellMemory(IDataContext &context, std::uint64_t bytes) noexcept;
/// `IItemListener`.
void TellItem(IDataContext &context, std::uint32_t position, std::int32_t growth) noexcept;
/// `IAdReview`: who decides about elements of this name?
AdReview WhoDecides(IDataContext &context, const std::string &tag) noexcept;
/// Why the host has an element removed; none: it stays.
std::optional<std::string> ReasonToRemove(IDataContext &context, const std::string &tag,
                                          const std::string &value, const std::string &url);
/// Does an advertisement stay?
bool IsAdKept(IDataContext &context, const std::string &tag, const std::string &value,
              const std::string &url) noexcept;
/// `IPageProtection`: what a script needs to be run that is put in here; none: it would not be run.
std::optional<std::string> ScriptNonce(IDataContext &context);
/// Does the host offer it?
bool ProtectsPages(IDataContext &context) noexcept;
void TellScriptLeftOut(IDataContext &context, std::int32_t category) noexcept;
void TellSecurityPolicy(IDataContext &context, const std::string &policy) noexcept;
void TellPinnedScript(IDataContext &context, const std::string &value,
                      const std::string &url) noexcept;

}  // namespace velmora
