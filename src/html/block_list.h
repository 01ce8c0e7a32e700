// BlockList: a sequence that grows and shrinks at its end, and moves nothing.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

namespace velmora {

/// Its elements stand in blocks, of which an empty one is kept: who goes to and fro over the end of
/// a block takes no memory each time.
template <class Element>
class BlockList {
 public:
  std::size_t size() const noexcept { return size_; }
  Element &operator[](std::size_t index) noexcept { return (*blocks_[index / SIZE])[index % SIZE]; }
  const Element &operator[](std::size_t index) const noexcept {
    return (*blocks_[index / SIZE])[index % SIZE];
  }
  Element &back() noexcept { return (*this)[size_ - 1]; }

  /// Throws `std::bad_alloc`.
  void push_back(const Element &element) {
    if (size_ == blocks_.size() * SIZE) blocks_.push_back(std::make_unique<Block>());
    ++size_;
    back() = element;
  }
  void pop_back() noexcept {
    --size_;
    const std::size_t needed = (size_ + SIZE - 1) / SIZE;
    if (blocks_.size() > needed + 1) blocks_.pop_back();
  }
  void clear() noexcept {
    blocks_.clear();
    size_ = 0;
  }

 private:
  static_assert(std::is_trivially_copyable_v<Element>);
  static constexpr std::size_t SIZE = 32;
  using Block = std::array<Element, SIZE>;

  std::vector<std::unique_ptr<Block>> blocks_;
  std::size_t size_ = 0;
};

}  // namespace velmora
