// ITroubleListener: how a host hears that something passes unexamined, and bounds what examining it
// may cost.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {6E0F2B54-3C1D-4E8A-9B77-5A2D41C80F13}
inline constexpr Identifier ID_TroubleListener{{0x54, 0x2B, 0x0F, 0x6E, 0x1D, 0x3C, 0x8A, 0x4E,
                                                0x9B, 0x77, 0x5A, 0x2D, 0x41, 0xC8, 0x0F, 0x13}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks in trouble
/// alone, so that other hosts see nothing of it.
class ITroubleListener : public ICounted {
 public:
  /// The plug-in wanted memory or room for temporary files: what it holds of the transaction's body
  /// passes as it is, or a script of it as far as it could not be read. Called from within
  /// `ProcessData` or `SetContext`, on their thread, perhaps more than once a transaction.
  virtual void OnUnexamined() noexcept = 0;
  /// How many bytes of misread strings the plug-in may examine in one script, beside 16 for each
  /// byte of its texts: behind a very long text, a string is read back as whatever stands there,
  /// and each may be as long as the script. Asked when a script is beyond that part.
  virtual std::uint64_t MostMisreadBytes() noexcept = 0;
  /// They were more: the script passes without a look at the others. Called as `OnUnexamined` is.
  virtual void OnMisreadBytes() noexcept = 0;

 protected:
  ~ITroubleListener() = default;
};

}  // namespace velmora
