// A bound on what one question may cost.
#pragma once

#include <cstddef>

namespace velmora::adblock {

/// Work left for a question, in bytes looked at. URLs of real pages need a hundredth of it;
/// one made of the words that most rules have, over and over, would need a hundred times as much.
class Effort {
 public:
  static constexpr std::size_t MOST = std::size_t{32} << 10;

  void Spend(std::size_t cost) noexcept { spent_ += cost; }
  bool IsSpent() const noexcept { return spent_ >= MOST; }
  std::size_t Spent() const noexcept { return spent_; }

 private:
  std::size_t spent_ = 0;
};

}  // namespace velmora::adblock
