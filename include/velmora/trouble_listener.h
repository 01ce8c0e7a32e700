// ITroubleListener: how a host hears that something passes because it could not be examined.
#pragma once

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

 protected:
  ~ITroubleListener() = default;
};

}  // namespace velmora
