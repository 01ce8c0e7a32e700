#include "core/trouble.h"

#include <velmora/trouble_listener.h>

namespace velmora {

void TellUnexamined(IDataContext &context) noexcept {
  void *answer = nullptr;
  if (context.QueryInterface(&ID_TroubleListener, &answer) != RESULT_OK || answer == nullptr)
    return;
  auto *const listener = static_cast<ITroubleListener *>(answer);
  listener->OnUnexamined();
  listener->Release();
}

}  // namespace velmora
