// The object that speaks the plug-in's interface, and the factory that makes it.
#pragma once

#include <atomic>

#include <velmora/ad_blocker.h>
#include <velmora/module.h>

#include "matcher/blocker.h"

namespace velmora::adblock {

/// The process's lists; there as long as the process.
Blocker &ProcessBlocker();

/// Loads the lists unless that was tried before; what cannot be read is written to standard error.
void LoadListsOnce() noexcept;

/// Reference counting for an object with one interface.
template <typename Interface>
class Counted : public Interface {
 public:
  explicit Counted(const Identifier &identifier) : identifier_(identifier) {}
  virtual ~Counted() = default;

  Status QueryInterface(const Identifier *identifier, void **output) noexcept final {
    if (!output) return RESULT_INVALID_ARGUMENT;
    if (!identifier || (*identifier != identifier_ && *identifier != ID_Unknown)) {
      *output = nullptr;
      return RESULT_NO_INTERFACE;
    }
    *output = static_cast<Interface *>(this);
    AddRef();
    return RESULT_OK;
  }
  std::int32_t AddRef() noexcept final { return ++references_; }
  std::int32_t Release() noexcept final {
    const std::int32_t left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  const Identifier &identifier_;
  std::atomic<std::int32_t> references_ = 0;
};

class AdBlocker final : public Counted<IAdBlocker> {
 public:
  explicit AdBlocker(Blocker &blocker) : Counted(ID_AdBlocker), blocker_(blocker) {}

  std::uint8_t IsReady() noexcept override;
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *host, const char *url, char *text, std::size_t size,
                        bool *exempt) noexcept override;
  std::uint8_t CheckUrlText(const char *host, const char *piece, std::uint32_t length, char *text,
                            std::size_t size, bool *exempt) noexcept override;
  std::uint8_t CheckSize(const char *host, std::int32_t width,
                         std::int32_t height) noexcept override;
  std::uint8_t CheckLink(const char *link, const char *host, const char *text) noexcept override;

 private:
  std::uint8_t Answer(std::string_view page_host, std::string_view url, char *text,
                      std::size_t size, bool *exempt) const noexcept;
  /// Takes what `CheckUrlText` does, so that nothing has to be moved or saved at the many places
  /// where no URL begins.
  [[gnu::noinline]] std::uint8_t CheckUrlInText(const char *host, const char *piece,
                                                std::uint32_t piece_length, char *text,
                                                std::size_t size, bool *exempt) const noexcept;

  Blocker &blocker_;
};

class AdBlockerFactory final : public Counted<IDataProcessorFactory> {
 public:
  AdBlockerFactory() : Counted(ID_Factory) {}
  Status CreateInstance(const Identifier *identifier, void **output) noexcept override;
};

}  // namespace velmora::adblock
