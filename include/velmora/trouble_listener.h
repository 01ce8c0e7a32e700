// ITroubleListener: how a host hears that something passes unexamined, and bounds what examining it
// may cost.
#pragma once

#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// {C2A91D07-64F8-4B3E-8D15-93E07AB45F26}
inline constexpr Identifier ID_TroubleListener{{0x07, 0x1D, 0xA9, 0xC2, 0xF8, 0x64, 0x3E, 0x4B,
                                                0x8D, 0x15, 0x93, 0xE0, 0x7A, 0xB4, 0x5F, 0x26}};

/// A host's `IDataContext` may answer `QueryInterface` for it too. The plug-in asks in trouble
/// alone, so that other hosts see nothing of it.
class ITroubleListener : public ICounted {
 public:
  /// The plug-in wanted memory or room for temporary files: what it holds of the transaction's body
  /// passes as it is, or a script of it as far as it could not be read. Called from within
  /// `ProcessData` or `SetContext`, on their thread, perhaps more than once a transaction.
  virtual void OnUnexamined() noexcept = 0;
  /// How many bytes of misread strings the plug-in may examine in one script, beside 16 for each
  /// byte of its texts: after a very long text, a string is read back as whatever stands there,
  /// and each may be as long as the script. Asked when a script is beyond that part.
  virtual std::uint64_t MostMisreadBytes() noexcept = 0;
  /// They were more: the script passes without a look at the others. Called as `OnUnexamined` is.
  virtual void OnMisreadBytes() noexcept = 0;

 protected:
  ~ITroubleListener() = default;
};

}  // namespace velmora
