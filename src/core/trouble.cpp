#include "core/trouble.h"

#include <velmora/trouble_listener.h>

#include "base/counted_pointer.h"

namespace velmora {
namespace {

constexpr std::uint64_t DEFAULT_MISREAD_BYTES = 64U << 20;

/// None when the host has none.
CountedPointer<ITroubleListener> ListenerOf(IDataContext &context) noexcept {
  void *answer = nullptr;
  if (context.QueryInterface(&ID_TroubleListener, &answer) != RESULT_OK) return {};
  return CountedPointer<ITroubleListener>::Adopt(static_cast<ITroubleListener *>(answer));
}

}  // namespace

void TellUnexamined(IDataContext &context) noexcept {
  if (const auto listener = ListenerOf(context)) listener->OnUnexamined();
}

std::uint64_t MostMisreadBytes(IDataContext &context) noexcept {
  const auto listener = ListenerOf(context);
  return listener ? listener->MostMisreadBytes() : DEFAULT_MISREAD_BYTES;
}

void TellMisreadBytes(IDataContext &context) noexcept {
  if (const auto listener = ListenerOf(context)) listener->OnMisreadBytes();
}

}  // namespace velmora
