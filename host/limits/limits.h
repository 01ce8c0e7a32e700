// Limits: how much one transaction may take of the host, and what happens beyond.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace velmora::host {

/// Why filtering or decoding of a transaction stopped before its end.
enum class StopReason {
  /// More bytes were held back than the limit allows.
  HELD_BYTES,
  /// The plug-in took more time than the limit allows.
  FILTER_TIME,
  /// Memory could not be had.
  OUT_OF_MEMORY,
  /// The body is in a content coding that the host does not know.
  UNKNOWN_CODING,
  /// The body is not in the content coding that it claims to be in.
  CORRUPT_CODING,
  /// The body ends inside its content coding.
  TRUNCATED_CODING,
  /// The body is decoded to more bytes than allowed.
  DECODED_SIZE,
};

/// A few words for messages: "more bytes held back than allowed", ...
const char *Describe(StopReason reason) noexcept;

/// What a stopped transaction does with the rest of its body.
enum class BeyondLimit {
  /// It goes on as it comes: the user sees the page, and perhaps what should have been blocked. A
  /// rest that cannot be decoded is cut off.
  PASS_UNFILTERED,
  /// The transaction ends with an error: the user sees a broken page, and nothing unfiltered.
  FAIL,
};

/// The bytes that wait in the buffer because they may still change, looked at between slices: the
/// buffer itself holds at most one slice more (and what edits insert).
struct HeldBytesLimit {
  std::uint32_t most = 16U << 20;

  bool IsExceededBy(std::uint32_t held) const noexcept { return held > most; }
};

/// The time that the plug-in spends on one body, looked at between slices. Waiting for the network
/// is not counted.
struct FilterTimeLimit {
  std::chrono::nanoseconds most = std::chrono::seconds(10);

  bool IsExceededBy(std::chrono::nanoseconds spent) const noexcept { return spent > most; }
};

struct Limits {
  HeldBytesLimit held_bytes{};
  FilterTimeLimit filter_time{};
  BeyondLimit beyond = BeyondLimit::PASS_UNFILTERED;

  /// The limit that a transaction is beyond, if any.
  std::optional<StopReason> Exceeded(std::uint32_t held,
                                     std::chrono::nanoseconds spent) const noexcept {
    if (held_bytes.IsExceededBy(held)) return StopReason::HELD_BYTES;
    if (filter_time.IsExceededBy(spent)) return StopReason::FILTER_TIME;
    return std::nullopt;
  }
};

}  // namespace velmora::host
