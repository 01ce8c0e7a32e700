// The registry: a text file in .reg form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::platform {

/// Key and value names compare without regard to case.
class Registry {
 public:
  /// An empty registry.
  Registry() = default;
  /// Reads a registry from the text of a .reg file: keys in brackets, `dword:`, `hex:` and quoted
  /// values, and a minus sign that takes back a value, or a key with all below it. UTF-8, or
  /// UTF-16LE after its byte-order mark; CR LF and comments are accepted, lines that cannot be
  /// read are skipped, and the last of several equal names counts.
  static Registry Parse(std::string_view text);
  /// The registry of this machine: what `MachineFile` holds; missing or unreadable: empty.
  static Registry OfMachine();
  /// The file that VELMORA_REGISTRY names, unless it is empty or the process is privileged; else
  /// /etc/velmora/registry.reg.
  static const char *MachineFile() noexcept;

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
  /// A line that names a key; it becomes the `current` one, or none with a minus sign.
  void ReadKey(std::string_view line, std::optional<std::string> &current);
  /// A value under `key`, which may go on over lines that are taken off `rest`.
  void ReadValue(const std::string &key, std::string_view line, std::string_view &rest);

  std::vector<Value> values_;
};

}  // namespace velmora::platform
