// SecurityPolicy: whether a page runs a script that is put into it, by its Content-Security-Policy.
// Source: Content Security Policy Level 3, "Does element match source list for type and source?".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::host {

/// All policies of one page together: each has to allow the script.
class SecurityPolicy {
 public:
  /// The value of the header; those of several lines with commas between them.
  void AddHeader(std::string_view value);
  /// The `content` of a META element.
  void AddMeta(std::string_view content);

  /// What a SCRIPT element needs in its `nonce` attribute for its text to be run: empty when it
  /// needs none. None: it is not run whatever it has.
  std::optional<std::string> ScriptNonce() const;

 private:
  void AddPolicy(std::string_view policy, bool is_header);
  void AddSources(std::string_view sources);

  /// The nonces that every policy with a say takes; none: no policy asks for one.
  std::optional<std::vector<std::string>> nonces_;
};

/// A text as it stands in an attribute, with its character references resolved: those by number,
/// and the few by name that URLs and policies are written with.
std::string ResolveReferences(std::string_view text);

}  // namespace velmora::host
