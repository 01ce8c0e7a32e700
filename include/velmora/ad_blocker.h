// IAdBlocker: the interface of an ad-blocking library, for those who write or use one.
//
// The plug-in never loads such a library. It binds, when it is loaded itself, to one that the host
// process has loaded before under the name below. The library exports "Ordinal_3" (its object
// identifier) and "GetFactory" as <velmora/module.h> describes them, and its factory makes objects
// for `ID_AdBlocker`. Without a library every answer is "no".
#pragma once

#include <cstddef>
#include <cstdint>

#include <velmora/counted.h>

namespace velmora {

/// File name (SONAME) under which the plug-in finds a loaded ad-blocking library.
inline constexpr char AD_LIBRARY_NAME[] = "libvexlar.so";

/// Size in bytes of the buffers that the plug-in passes for answer texts.
inline constexpr std::size_t AD_TEXT_SIZE = 1024;

/// Judges URLs and sizes. One object serves all transactions and threads of a process at
/// once, without locks around the calls. Answers are 8-bit: nonzero means yes. Strings are
/// NUL-terminated and the caller's, valid during the call.
class IAdBlocker : public ICounted {
 public:
  /// Exactly 1 when the library is able to judge.
  virtual std::uint8_t IsReady() noexcept = 0;
  /// Not called by the plug-in.
  virtual std::uint8_t Reserved4() noexcept = 0;
  /// Is `url` an advertisement on a page of `host`? An answer of exactly 1 comes with the reason
  /// written to `text` (at most `size` bytes with its NUL). `*exempt`, false on entry, is set when
  /// the URL is expressly allowed.
  virtual std::uint8_t CheckUrl(const char *host, const char *url, char *text, std::size_t size,
                                bool *exempt) noexcept = 0;
  /// The same for a piece of script text of `length` bytes without a NUL at its end: does an
  /// advertisement's URL begin at its first byte? Called at every byte of every string.
  virtual std::uint8_t CheckUrlText(const char *host, const char *piece, std::uint32_t length,
                                    char *text, std::size_t size, bool *exempt) noexcept = 0;
  /// Is width by height, in pixels, a size of advertisements? Unknown values are 0.
  virtual std::uint8_t CheckSize(const char *host, std::int32_t width,
                                 std::int32_t height) noexcept = 0;
  /// Tells of a link at the end of every A element; the answer is not used.
  virtual std::uint8_t CheckLink(const char *link, const char *host, const char *text) noexcept = 0;

 protected:
  ~IAdBlocker() = default;
};

}  // namespace velmora
