#include "gif/gif_handler.h"

#include "core/report.h"
#include "core/settings.h"
#include "gif/gif_walk.h"

namespace velmora {

bool CGifHandler::Attach() {
  enabled_ = context() != nullptr && IsFeatureEnabled(*context(), CATEGORY_GIF_ANIMATION);
  return enabled_;
}

void CGifHandler::Process(const Chunk &chunk) {
  if (!enabled_) return;
  if (!chunk.IsEnd()) {
    chunk.CommitNothing();
    return;
  }
  const auto second_frame = FindSecondFrame({chunk.Data(), chunk.length()});
  if (!second_frame) return;
  // Everything from the second frame on gives way to one trailer.
  chunk.buffer().Replace(chunk.offset() + *second_frame, chunk.length() - *second_frame,
                         &GIF_TRAILER, 1);
  ReportBlockedItem(*context(), CATEGORY_GIF_ANIMATION, "", "");
}

}  // namespace velmora
