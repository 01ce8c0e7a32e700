// CountedPointer: owns one reference to an object that counts them.
#pragma once

#include <cstddef>
#include <utility>

namespace velmora {

template <class T>
class CountedPointer {
 public:
  CountedPointer() = default;
  CountedPointer(std::nullptr_t) noexcept {}
  /// Takes a reference of its own.
  explicit CountedPointer(T *object) noexcept : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }
  CountedPointer(const CountedPointer &other) noexcept : CountedPointer(other.object_) {}
  CountedPointer(CountedPointer &&other) noexcept
      : object_(std::exchange(other.object_, nullptr)) {}
  CountedPointer &operator=(CountedPointer other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~CountedPointer() {
    if (object_ != nullptr) object_->Release();
  }

  /// Takes over a reference that the caller already holds.
  static CountedPointer Adopt(T *object) noexcept {
    CountedPointer pointer;
    pointer.object_ = object;
    return pointer;
  }

  void reset() noexcept { *this = CountedPointer(); }
  T *get() const noexcept { return object_; }
  T *operator->() const noexcept { return object_; }
  T &operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  bool operator==(std::nullptr_t) const noexcept { return object_ == nullptr; }

 private:
  T *object_ = nullptr;
};

}  // namespace velmora
