#include "host/limits/limits.h"

namespace velmora::host {

const char *Describe(StopReason reason) noexcept {
  switch (reason) {
    case StopReason::HELD_BYTES:
      return "more bytes held back than allowed";
    case StopReason::ADDED_BYTES:
      return "more bytes added by edits at once than allowed";
    case StopReason::ALL_HELD_BYTES:
      return "more memory held by all bodies together than allowed";
    case StopReason::FILTER_TIME:
      return "more filtering time than allowed";
    case StopReason::MISREAD_BYTES:
      return "more misread strings in a script than allowed";
    case StopReason::OUT_OF_MEMORY:
      return "out of memory";
    case StopReason::UNKNOWN_CODING:
      return "content coding not known";
    case StopReason::CORRUPT_CODING:
      return "content coding corrupt";
    case StopReason::TRUNCATED_CODING:
      return "content coding truncated";
    case StopReason::DECODED_SIZE:
      return "more decoded bytes than allowed";
  }
  return "";
}

}  // namespace velmora::host
