// The registry: a text file in .reg form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::platform {

/// Key and value names compare without regard to case.
class Registry {
 public:
  /// An empty registry.
  Registry() = default;
  /// Reads a registry from the text of a .reg file: sections in brackets, `dword:`, `hex:` and
  /// quoted values. UTF-8, or UTF-16LE behind its byte-order mark; CR LF and comments are accepted,
  /// lines that cannot be read are skipped, and the last of several equal names counts.
  static Registry Parse(std::string_view text);
  /// The registry of this machine: the file that VELMORA_REGISTRY names, else
  /// /etc/velmora/registry.reg; missing or unreadable: empty.
  static Registry OfMachine();

  /// A value as a 32-bit number: at most its 4 stored bytes, little-endian (a string counts its
  /// NUL). 0 when key or value is missing or the value is longer.
  std::uint32_t Number(std::string_view key, std::string_view value) const noexcept;

 private:
  struct Value {
    std::string key;
    std::string name;
    std::string bytes;
  };
  const Value *Find(std::string_view key, std::string_view value) const noexcept;

  std::vector<Value> values_;
};

}  // namespace velmora::platform
