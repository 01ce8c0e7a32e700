// IPageProtection: how a host has the plug-in heed what a page protects itself with: a security
// policy (CSP), and scripts that it pins (`integrity`).
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {1F6E0B52-93D4-4A7C-B0E8-5C2D7A91F364}
inline constexpr Identifier ID_PageProtection{{0x52, 0x0B, 0x6E, 0x1F, 0xD4, 0x93, 0x7C, 0x4A, 0xB0,
                                               0xE8, 0x5C, 0x2D, 0x7A, 0x91, 0xF3, 0x64}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks when there is
/// something to ask or to tell and at no other time. Called from within `ProcessData`, on its
/// thread.
///
/// For such a host the plug-in also keeps event handlers as they are meant: quotes that belong to a
/// handler stay in it when it is wrapped, and those of an image that goes are not wrapped at all.
class IPageProtection : public ICounted {
 public:
  /// What a script that is put into the page here needs in its `nonce` attribute to be run: letters
  /// and digits of Base64. Empty: it needs none. Null: it would not be run, and none is put in.
  /// Valid until the next call.
  virtual const char *ScriptNonce() noexcept = 0;
  /// The script of a category, or the one that ends what it does, was not put in for that reason;
  /// or what it did had to end early.
  virtual void OnScriptLeftOut(std::int32_t category) noexcept = 0;
  /// The page has a security policy in a META element, which holds from there on: its `content`,
  /// character references as they stand there.
  virtual void OnSecurityPolicy(const char *policy) noexcept = 0;
  /// A SCRIPT element that stays in the page pins what its URL answers. `value` is the URL as it
  /// stands there, `url` the same made absolute in the plug-in's way.
  virtual void OnPinnedScript(const char *value, const char *url) noexcept = 0;

 protected:
  ~IPageProtection() = default;
};

}  // namespace velmora
