// CGifHandler: cuts animated GIFs down to their first frame.
#pragma once

#include "core/content_handler.h"

namespace velmora {

/// Holds the image back until it is complete; with `CATEGORY_GIF_ANIMATION` off it streams through.
class CGifHandler final : public CContentHandler {
 protected:
  /// Answers whether animations are blocked.
  bool Attach() override;
  void Process(const Chunk &chunk) override;

 private:
  bool enabled_ = false;
};

}  // namespace velmora
