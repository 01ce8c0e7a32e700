// EditList: all edits of one body, as they stand against the body that came.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::host {

/// Hears of every edit of a body.
class EditListener {
 public:
  /// `old_length` bytes at `position` became `bytes`. The position is in the body as all the edits
  /// before left it, bytes that are sent on included.
  virtual void OnReplace(std::uint64_t position, std::uint32_t old_length,
                         std::string_view bytes) noexcept = 0;

 protected:
  ~EditListener() = default;
};

/// Edits that touch become one, and an edit of what an edit brought is part of that one.
class EditList final : public EditListener {
 public:
  struct Edit {
    /// The bytes of the original that went.
    std::uint64_t original;
    std::uint64_t length;
    /// What came in their place, and where in the edited body.
    std::uint64_t position;
    std::string bytes;

    std::uint64_t OriginalEnd() const noexcept { return original + length; }
    std::uint64_t End() const noexcept { return position + bytes.size(); }

    friend bool operator==(const Edit &, const Edit &) = default;
  };

  void OnReplace(std::uint64_t position, std::uint32_t old_length,
                 std::string_view bytes) noexcept override;

  /// In the order of the body.
  const std::vector<Edit> &Edits() const noexcept { return edits_; }
  /// There was no memory for an edit: it and those made later are missing.
  bool IsBroken() const noexcept { return is_broken_; }

 private:
  void Replace(std::uint64_t position, std::uint64_t end, std::string_view bytes);

  std::vector<Edit> edits_;
  bool is_broken_ = false;
};

}  // namespace velmora::host
