// Sums of the store as they are shown at a glance.
#pragma once

#include <vector>

#include "store/event_store.h"
#include "web/markup.h"

namespace velmora::web {

/// The greatest figures, each in a tile.
Markup Tiles(const store::Counts &counts);

/// A chart of what was blocked, from sums by the hour: by the hour, or by the day where that would
/// be too many.
Markup OverTime(const std::vector<store::Sum> &hours, store::Time from, store::Time until);

}  // namespace velmora::web
