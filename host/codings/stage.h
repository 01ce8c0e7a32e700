// Stage: one of those that a body goes through, each drawing from the one before it.
//
//   PushedPieces -> DecodedBody -> FirstBytes -> BodyStream -> GzipEncoder
//
// Nothing is worked on before the next bytes are asked for at the end of the chain, and nothing
// piles up between the stages: a part is drawn when all that came of the part before is out.
#pragma once

#include <optional>
#include <string_view>
#include <utility>

#include "host/limits/limits.h"

namespace velmora::host {

/// What one stage hands to the next.
struct Part {
  std::string_view bytes{};
  /// Nothing comes after them.
  bool is_last = false;
  /// Why the body ends here, if it does so too early.
  std::optional<StopReason> trouble{};
  /// It has turned out that the body is nothing for the plug-in.
  bool is_unwanted = false;

  bool IsNothing() const noexcept { return bytes.empty() && !is_last; }
};

/// Used by one thread at a time. The stage that it draws from outlives it.
class Stage {
 public:
  /// The next part: nothing when there is none for now, and after the last one. Its bytes are good
  /// until the next call, and may lie in what was pushed.
  virtual Part Next() noexcept = 0;

 protected:
  ~Stage() = default;
};

/// The first stage: what the host gives.
class PushedPieces final : public Stage {
 public:
  /// The piece stays where it is until the chain's end has nothing more for now; only then comes
  /// another one.
  void Push(std::string_view piece) noexcept { part_ = {.bytes = piece}; }
  /// The same for the last piece, which may be empty.
  void Finish(std::string_view last_piece) noexcept {
    part_ = {.bytes = last_piece, .is_last = true};
  }

  Part Next() noexcept override { return std::exchange(part_, {}); }

 private:
  Part part_;
};

}  // namespace velmora::host
