#include "host/limits.h"

namespace velmora::host {

const char *Describe(StopReason reason) noexcept {
  switch (reason) {
    case StopReason::HELD_BYTES:
      return "more bytes held back than allowed";
    case StopReason::FILTER_TIME:
      return "more filtering time than allowed";
    case StopReason::OUT_OF_MEMORY:
      return "out of memory";
  }
  return "";
}

}  // namespace velmora::host
