// HostSet: host names, each with all of its sub-domains.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace velmora::host {

/// A host's name as sets compare it: in lower case, without a dot at its end.
class HostName {
 public:
  explicit HostName(std::string_view name);

  std::string_view Text() const noexcept { return text_; }
  /// "192.0.2.1", "[2001:db8::1]": lies in no domain.
  bool IsAddress() const noexcept;

 private:
  std::string text_;
};

/// A question costs one look-up for each label of the name asked for, however large the set.
class HostSet {
 public:
  /// Adds "example.com" or an address ("192.0.2.1", "[2001:db8::1]"), in any letter case. Throws
  /// `std::invalid_argument` that says what is wrong with the name.
  void Add(std::string_view name);
  void Add(const HostSet &others) { names_.insert(others.names_.begin(), others.names_.end()); }

  /// Is the host, or a domain that it lies in, in the set?
  bool Contains(const HostName &host) const;

  bool IsEmpty() const noexcept { return names_.empty(); }
  /// In alphabetical order, without those that lie in another one.
  std::vector<std::string> Names() const;

 private:
  bool ContainsParentOf(std::string_view domain) const;

  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::unordered_set<std::string, Hash, std::equal_to<>> names_;
};

}  // namespace velmora::host
