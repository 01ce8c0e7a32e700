#include "host/web/security_policy.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <system_error>
#include <utility>

#include "base/ascii.h"

namespace velmora::host {
namespace {

/// Calls a function with each part between separators, without the space around it.
template <class Function>
void ForEachPart(std::string_view text, std::string_view separators, Function function) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(separators), text.size());
    if (const auto part = base::TrimWebSpace(text.substr(0, end)); !part.empty()) function(part);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

struct Directive {
  std::string_view name;
  std::string_view value;
};

Directive Split(std::string_view directive) noexcept {
  const std::size_t end = std::min(directive.find_first_of(base::WEB_SPACE), directive.size());
  return {directive.substr(0, end), base::TrimWebSpace(directive.substr(end))};
}

/// The first of that name counts.
const Directive *Find(const std::vector<Directive> &directives, std::string_view name) noexcept {
  const auto found = std::ranges::find_if(directives, [&](const Directive &directive) {
    return base::EqualNoCase(directive.name, name);
  });
  return found == directives.end() ? nullptr : &*found;
}

bool IsNonce(std::string_view text) noexcept {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return base::IsDigitAscii(c) || base::IsLetterAscii(c) ||
           std::string_view("+/-_=").find(c) != std::string_view::npos;
  });
}

constexpr std::string_view HASHES[] = {"'sha256-", "'sha384-", "'sha512-"};
constexpr std::string_view NONCE = "'nonce-";

bool IsHash(std::string_view source) noexcept {
  return std::ranges::any_of(
      HASHES, [&](std::string_view hash) { return base::StartsWithNoCase(source, hash); });
}

struct Reference {
  std::string_view name;
  char character;
};
constexpr Reference REFERENCES[] = {
    {"amp", '&'}, {"quot", '"'}, {"apos", '\''}, {"lt", '<'}, {"gt", '>'},
};

/// The ASCII character of "amp", "#39" or "#x27"; NUL where it is another or none.
char Referred(std::string_view name) noexcept {
  if (!name.starts_with('#')) {
    const auto found = std::ranges::find(REFERENCES, name, &Reference::name);
    return found == std::end(REFERENCES) ? '\0' : found->character;
  }
  name.remove_prefix(1);
  const bool is_hex = name.starts_with('x') || name.starts_with('X');
  if (is_hex) name.remove_prefix(1);
  std::uint32_t code = 0;
  const char *const end = name.data() + name.size();
  const auto read = std::from_chars(name.data(), end, code, is_hex ? 16 : 10);
  return read.ec == std::errc() && read.ptr == end && code < 0x80 ? static_cast<char>(code) : '\0';
}

}  // namespace

void SecurityPolicy::AddHeader(std::string_view value) {
  ForEachPart(value, ",", [&](std::string_view policy) { AddPolicy(policy, true); });
}

void SecurityPolicy::AddMeta(std::string_view content) {
  AddPolicy(ResolveReferences(content), false);
}

void SecurityPolicy::AddPolicy(std::string_view policy, bool is_header) {
  std::vector<Directive> directives;
  ForEachPart(policy, ";", [&](std::string_view text) { directives.push_back(Split(text)); });
  // In a META element a sandbox counts for nothing.
  const Directive *const sandbox = is_header ? Find(directives, "sandbox") : nullptr;
  if (sandbox != nullptr && sandbox->value.find("allow-scripts") == sandbox->value.npos)
    nonces_.emplace();
  for (const std::string_view name : {"script-src-elem", "script-src", "default-src"}) {
    if (const Directive *const found = Find(directives, name)) return AddSources(found->value);
  }
}

void SecurityPolicy::AddSources(std::string_view sources) {
  bool takes_all = false;
  bool is_strict = false;
  std::vector<std::string> nonces;
  ForEachPart(sources, base::WEB_SPACE, [&](std::string_view source) {
    if (base::EqualNoCase(source, "'unsafe-inline'")) takes_all = true;
    if (base::EqualNoCase(source, "'strict-dynamic'") || IsHash(source)) is_strict = true;
    if (!base::StartsWithNoCase(source, NONCE) || !source.ends_with('\'')) return;
    const auto nonce = source.substr(NONCE.size(), source.size() - NONCE.size() - 1);
    if (IsNonce(nonce)) nonces.emplace_back(nonce);
  });
  if (takes_all && !is_strict && nonces.empty()) return;
  if (!nonces_) {
    nonces_ = std::move(nonces);
  } else {
    std::erase_if(*nonces_, [&](const std::string &nonce) {
      return std::ranges::find(nonces, nonce) == nonces.end();
    });
  }
}

std::optional<std::string> SecurityPolicy::ScriptNonce() const {
  if (!nonces_) return std::string();
  return nonces_->empty() ? std::nullopt : std::optional(nonces_->front());
}

std::string ResolveReferences(std::string_view text) {
  constexpr std::size_t LONGEST = 8;
  std::string resolved;
  while (!text.empty()) {
    const std::size_t begin = std::min(text.find('&'), text.size());
    resolved += text.substr(0, begin);
    text.remove_prefix(begin);
    if (text.empty()) break;
    const std::size_t end = text.substr(0, LONGEST).find(';');
    const char referred = end == text.npos ? '\0' : Referred(text.substr(1, end - 1));
    resolved += referred == '\0' ? '&' : referred;
    text.remove_prefix(referred == '\0' ? 1 : end + 1);
  }
  return resolved;
}

}  // namespace velmora::host
