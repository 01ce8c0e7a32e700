// LineSplitter: cuts the bytes of a log into lines.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::store {

/// A line that is longer than any event stands as an empty one, so that a damaged log costs no more
/// memory than a whole one. Zero bytes in front of a line are passed over: a system that crashed
/// leaves them where it had made room and written nothing.
class LineSplitter {
 public:
  static constexpr std::size_t MOST_LINE = 1U << 20;

  /// Adds the lines that the bytes complete.
  void Split(std::string_view bytes, std::vector<std::string> &lines) {
    while (!bytes.empty()) {
      const std::size_t end = bytes.find('\n');
      Append(bytes.substr(0, end));
      if (end == bytes.npos) return;
      lines.push_back(std::exchange(line_, {}));
      is_too_long_ = false;
      bytes.remove_prefix(end + 1);
    }
  }
  /// Drops what was begun: it does not go on.
  void Clear() noexcept {
    line_.clear();
    is_too_long_ = false;
  }

 private:
  void Append(std::string_view part) {
    if (line_.empty()) {
      part.remove_prefix(std::min(part.find_first_not_of('\0'), part.size()));
    }
    if (part.size() > MOST_LINE - line_.size()) is_too_long_ = true;
    if (is_too_long_) {
      line_.clear();
    } else {
      line_ += part;
    }
  }

  std::string line_;
  bool is_too_long_ = false;
};

}  // namespace velmora::store
