// ChunkedBody: what is in a body that comes in chunks.
//
// Traffic Server takes chunks off as fast as they come, with no regard to what is done with what
// was in them. So it is not told that there are any.
#pragma once

#include <http_parser.h>
#include <string_view>
#include <vector>

namespace velmora::trafficserver {

class ChunkedBody {
 public:
  ChunkedBody() noexcept;
  ChunkedBody(const ChunkedBody &) = delete;
  ChunkedBody &operator=(const ChunkedBody &) = delete;

  /// Adds what of the body is in the next bytes to `pieces`, which lie in those; false when they
  /// are no chunks, or memory cannot be had. What comes after the last chunk is passed over.
  bool Read(std::string_view bytes, std::vector<std::string_view> &pieces) noexcept;
  /// The last chunk was read.
  bool IsComplete() const noexcept { return is_complete_; }

 private:
  http_parser parser_;
  std::vector<std::string_view> *pieces_ = nullptr;
  bool is_complete_ = false;
};

}  // namespace velmora::trafficserver
