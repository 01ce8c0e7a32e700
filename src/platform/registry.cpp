#include "platform/registry.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <utility>

#include "platform/character_classes.h"
#include "platform/files.h"

namespace velmora::platform {
namespace {

constexpr char DEFAULT_FILE[] = "/etc/velmora/registry.reg";
constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";
constexpr std::string_view UTF16_MARK = "\xFF\xFE";

bool EqualNames(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return ToLowerAscii(a) == ToLowerAscii(b); });
}

/// ASCII text from UTF-16LE; other units become "?".
std::string Narrow(std::string_view units) {
  std::string text;
  text.reserve(units.size() / 2);
  for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
    const bool is_ascii = units[i + 1] == '\0' && (units[i] & 0x80) == 0;
    text += is_ascii ? units[i] : '?';
  }
  return text;
}

std::string_view Trim(std::string_view text) noexcept {
  while (!text.empty() && IsSpaceAscii(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpaceAscii(text.back())) text.remove_suffix(1);
  return text;
}

/// Letter case aside.
bool Skip(std::string_view &text, std::string_view prefix) noexcept {
  if (!EqualNames(text.substr(0, prefix.size()), prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::string_view WithoutComment(std::string_view text) noexcept {
  return Trim(text.substr(0, text.find(';')));
}

std::string_view NextLine(std::string_view &text) noexcept {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return Trim(line);
}

/// All of `text` as a hexadecimal number of 1 to `most` digits.
std::optional<std::uint32_t> ReadHex(std::string_view text, std::size_t most) noexcept {
  std::uint32_t number = 0;
  if (text.empty() || text.size() > most) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// A quoted string, which is taken off `text`; a backslash escapes the next character.
std::optional<std::string> ReadQuoted(std::string_view &text) {
  if (!Skip(text, "\"")) return std::nullopt;
  std::string result;
  while (!text.empty()) {
    if (Skip(text, "\"")) return result;
    if (text.front() == '\\') text.remove_prefix(1);
    if (text.empty()) break;
    result += text.front();
    text.remove_prefix(1);
  }
  return std::nullopt;
}

std::optional<std::string> ReadDword(std::string_view text) {
  const std::optional<std::uint32_t> number = ReadHex(WithoutComment(text), 8);
  if (!number) return std::nullopt;
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(*number >> shift);
  return bytes;
}

/// Bytes between commas; a backslash at a line's end goes on with the next line, from `rest`.
std::optional<std::string> ReadBytes(std::string_view text, std::string_view &rest) {
  std::string bytes;
  text = WithoutComment(text);
  while (!text.empty()) {
    if (text == "\\") {
      text = WithoutComment(NextLine(rest));
      continue;
    }
    const std::string_view item = text.substr(0, text.find_first_of(",\\"));
    const std::optional<std::uint32_t> byte = ReadHex(Trim(item), 2);
    if (!byte) return std::nullopt;
    bytes += static_cast<char>(*byte);
    text.remove_prefix(item.size());
    Skip(text, ",");
    text = Trim(text);
  }
  return bytes;
}

/// "hex:", or "hex(" a type ")": , the type is not looked at.
bool SkipHexPrefix(std::string_view &text) noexcept {
  if (Skip(text, "hex:")) return true;
  std::string_view typed = text;
  if (!Skip(typed, "hex(")) return false;
  const std::size_t end = typed.find("):");
  if (end == std::string_view::npos) return false;
  text = typed.substr(end + 2);
  return true;
}

/// The stored bytes of the value that `text` writes; a string's NUL is one of them.
std::optional<std::string> ReadStored(std::string_view text, std::string_view &rest) {
  if (Skip(text, "dword:")) return ReadDword(text);
  if (SkipHexPrefix(text)) return ReadBytes(text, rest);
  std::optional<std::string> string = ReadQuoted(text);
  if (!string || !WithoutComment(text).empty()) return std::nullopt;
  return *string + '\0';
}

/// What stands between the brackets; none for a line that is no key. A bracket may be a part of the
/// name, and of the comment after it.
std::optional<std::string_view> KeyOf(std::string_view line) noexcept {
  if (!Skip(line, "[")) return std::nullopt;
  for (std::size_t end = 0; (end = line.find(']', end)) != std::string_view::npos; ++end) {
    if (WithoutComment(line.substr(end + 1)).empty()) return line.substr(0, end);
  }
  return std::nullopt;
}

/// The key itself, or one below it.
bool IsWithin(std::string_view key, std::string_view upper) noexcept {
  return EqualNames(key.substr(0, upper.size()), upper) &&
         (key.size() == upper.size() || key[upper.size()] == '\\');
}

}  // namespace

Registry Registry::Parse(std::string_view text) {
  std::string narrowed;
  if (Skip(text, UTF16_MARK)) text = narrowed = Narrow(text);
  Skip(text, UTF8_MARK);

  Registry registry;
  std::optional<std::string> key;
  while (!text.empty()) {
    const std::string_view line = NextLine(text);
    if (line.starts_with('[')) {
      registry.ReadKey(line, key);
    } else if (key) {
      registry.ReadValue(*key, line, text);
    }
  }
  return registry;
}

void Registry::ReadKey(std::string_view line, std::optional<std::string> &current) {
  std::optional<std::string_view> key = KeyOf(line);
  if (!key) return;
  if (!Skip(*key, "-")) {
    current = *key;
    return;
  }
  current.reset();
  std::erase_if(values_, [&](const Value &value) { return IsWithin(value.key, *key); });
}

void Registry::ReadValue(const std::string &key, std::string_view line, std::string_view &rest) {
  std::optional<std::string> name = Skip(line, "@") ? std::string() : ReadQuoted(line);
  line = Trim(line);
  if (!name || !Skip(line, "=")) return;
  if (WithoutComment(line) == "-") {
    std::erase_if(values_, [&](const Value &value) {
      return EqualNames(value.key, key) && EqualNames(value.name, *name);
    });
  } else if (std::optional<std::string> bytes = ReadStored(Trim(line), rest)) {
    values_.push_back({key, std::move(*name), std::move(*bytes)});
  }
}

Registry Registry::OfMachine() {
  return Parse(ReadFile(MachineFile()));
}

const char *Registry::MachineFile() noexcept {
  const char *named = ::secure_getenv("VELMORA_REGISTRY");
  return named != nullptr && *named != '\0' ? named : DEFAULT_FILE;
}

std::uint32_t Registry::Number(std::string_view key, std::string_view value) const noexcept {
  const Value *found = Find(key, value);
  if (found == nullptr || found->bytes.size() > 4) return 0;
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < found->bytes.size(); ++i) {
    number |= std::uint32_t{static_cast<std::uint8_t>(found->bytes[i])} << (8 * i);
  }
  return number;
}

const Registry::Value *Registry::Find(std::string_view key, std::string_view value) const noexcept {
  const auto found = std::find_if(values_.rbegin(), values_.rend(), [&](const Value &candidate) {
    return EqualNames(candidate.key, key) && EqualNames(candidate.name, value);
  });
  return found == values_.rend() ? nullptr : &*found;
}

}  // namespace velmora::platform
