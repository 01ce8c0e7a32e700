// Descriptor: an open file of the system, closed at the end.
#pragma once

#include <unistd.h>
#include <utility>

namespace velmora::base {

class Descriptor {
 public:
  Descriptor() = default;
  /// Takes over what `open` answered; a failure is no open file.
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { Close(); }

  bool IsOpen() const noexcept { return number_ >= 0; }
  int number() const noexcept { return number_; }
  /// False when closing fails; the file is closed all the same, and closing it again succeeds.
  bool Close() noexcept { return !IsOpen() || close(std::exchange(number_, -1)) == 0; }

 private:
  int number_ = -1;
};

}  // namespace velmora::base
