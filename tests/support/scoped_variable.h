// Sets an environment variable, or takes it away, while in scope.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace velmora::testing {

class ScopedVariable {
 public:
  /// Null takes the variable away.
  ScopedVariable(const char *name, const char *value) : name_(name) {
    const char *before = std::getenv(name);
    if (before != nullptr) before_ = before;
    Set(value);
  }
  ScopedVariable(const ScopedVariable &) = delete;
  ScopedVariable &operator=(const ScopedVariable &) = delete;
  ~ScopedVariable() { Set(before_ ? before_->c_str() : nullptr); }

 private:
  void Set(const char *value) const {
    if (value == nullptr) {
      ::unsetenv(name_);
    } else {
      ::setenv(name_, value, 1);
    }
  }

  const char *name_;
  std::optional<std::string> before_;
};

}  // namespace velmora::testing
