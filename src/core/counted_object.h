// Counted objects: the base of everything that the module hands out.
#pragma once

#include <atomic>
#include <cstdint>

#include <velmora/counted.h>
#include <velmora/identifier.h>

namespace velmora {

/// The module's live-object counter: counted up for each processor made by the factory, down by
/// every final release of any object. The two are not balanced, on purpose.
class LiveObjects {
 public:
  static void Add() noexcept { count_.fetch_add(1); }
  static void Remove() noexcept { count_.fetch_sub(1); }
  static std::int32_t Count() noexcept { return count_.load(); }

 private:
  static inline std::atomic<std::int32_t> count_{0};
};

/// Holds the reference count, 0 at construction.
class CCountedObject {
 public:
  CCountedObject() = default;
  CCountedObject(const CCountedObject &) = delete;
  CCountedObject &operator=(const CCountedObject &) = delete;
  virtual ~CCountedObject() = default;
  /// Runs when the last reference is released, before the object is deleted.
  virtual void OnFinalRelease() noexcept { LiveObjects::Remove(); }

 protected:
  std::int32_t TakeReference() noexcept { return references_.fetch_add(1) + 1; }
  std::int32_t DropReference() noexcept {
    const std::int32_t left = references_.fetch_sub(1) - 1;
    if (left == 0) {
      OnFinalRelease();
      delete this;
    }
    return left;
  }

 private:
  std::atomic<std::int32_t> references_{0};
};

/// What an object answers for `ID_Unknown`.
enum class UnknownAnswer { INTERFACE, OBJECT };

/// A counted object that offers one interface, with the three operations written once.
template <class Interface, const Identifier &INTERFACE_ID,
          UnknownAnswer UNKNOWN = UnknownAnswer::INTERFACE>
class CCounted : public CCountedObject, public Interface {
 public:
  Status QueryInterface(const Identifier *identifier, void **output) noexcept override {
    if (identifier == nullptr || output == nullptr) return RESULT_INVALID_ARGUMENT;
    *output = PointerFor(*identifier);
    if (*output == nullptr) return RESULT_NO_INTERFACE;
    AddRef();
    return RESULT_OK;
  }
  std::int32_t AddRef() noexcept override { return TakeReference(); }
  std::int32_t Release() noexcept override { return DropReference(); }

 private:
  void *PointerFor(const Identifier &identifier) noexcept {
    if (identifier == INTERFACE_ID) return static_cast<Interface *>(this);
    if (identifier != ID_Unknown) return nullptr;
    if constexpr (UNKNOWN == UnknownAnswer::OBJECT) return static_cast<CCountedObject *>(this);
    return static_cast<Interface *>(this);
  }
};

}  // namespace velmora
