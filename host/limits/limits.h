// Limits: how much one transaction may take of the host, and what happens beyond.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace velmora::host {

/// Why filtering or decoding of a transaction stopped before its end.
enum class StopReason {
  /// More bytes were held back than the limit allows.
  HELD_BYTES,
  /// In one step edits added more bytes than the limit allows.
  ADDED_BYTES,
  /// All transactions of the process held more bytes than the limit allows, and a part of them this
  /// one.
  ALL_HELD_BYTES,
  /// The plug-in took more time than the limit allows.
  FILTER_TIME,
  /// A script had more bytes of misread strings than the limit allows.
  MISREAD_BYTES,
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
inline constexpr std::size_t STOP_REASONS = static_cast<std::size_t>(StopReason::DECODED_SIZE) + 1;

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
/// buffer itself holds at most one slice more, and what edits add.
struct HeldBytesLimit {
  std::uint32_t most = 16U << 20;

  bool IsExceededBy(std::uint32_t held) const noexcept { return held > most; }
};

/// The bytes that edits add to what is in the buffer while the plug-in has one slice, looked at as
/// they come: a tag that waits for its end may grow to eleven times its size at once.
struct AddedBytesLimit {
  std::uint32_t most = 1U << 20;
};

/// Bytes of misread strings in one script, as `ITroubleListener` has them.
struct MisreadBytesLimit {
  std::uint64_t most = 64U << 20;
};

/// The memory of all that the process holds of bodies: bytes that are held back, and what the
/// plug-in says that it takes. Only who has a part in it that counts is made to give it up: small
/// pages go on when others are greedy.
class AllHeldBytes {
 public:
  void Grow(std::uint64_t before, std::uint64_t after) noexcept {
    bytes_.fetch_add(after - before, std::memory_order_relaxed);
  }
  std::uint64_t Bytes() const noexcept { return bytes_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::uint64_t> bytes_ = 0;
};
inline AllHeldBytes all_held_bytes;

/// One holder's part of it, for as long as it lives.
class HeldPart {
 public:
  HeldPart() = default;
  HeldPart(const HeldPart &) = delete;
  HeldPart &operator=(const HeldPart &) = delete;
  ~HeldPart() { Set(0); }

  void Set(std::uint64_t bytes) noexcept {
    all_held_bytes.Grow(bytes_, bytes);
    bytes_ = bytes;
  }
  std::uint64_t Bytes() const noexcept { return bytes_; }

 private:
  std::uint64_t bytes_ = 0;
};

struct AllHeldBytesLimit {
  static constexpr std::uint32_t SMALL = 256U << 10;

  std::uint64_t most = 256U << 20;

  bool IsExceededBy(std::uint64_t held) const noexcept {
    return held > SMALL && all_held_bytes.Bytes() > most;
  }
};

/// The processor time that one body takes of its thread, looked at between slices. Waiting is not
/// counted, be it for the network or for a busy machine.
struct FilterTimeLimit {
  std::chrono::nanoseconds most = std::chrono::seconds(10);

  bool IsExceededBy(std::chrono::nanoseconds spent) const noexcept { return spent > most; }
};

struct Limits {
  HeldBytesLimit held_bytes{};
  AddedBytesLimit added_bytes{};
  AllHeldBytesLimit all_held_bytes{};
  FilterTimeLimit filter_time{};
  MisreadBytesLimit misread_bytes{};
  BeyondLimit beyond = BeyondLimit::PASS_UNFILTERED;

  /// The limit that a transaction is beyond, if any, which holds bytes back and for which the
  /// plug-in takes memory.
  std::optional<StopReason> Exceeded(std::uint32_t held, std::uint64_t memory,
                                     std::chrono::nanoseconds spent) const noexcept {
    if (held_bytes.IsExceededBy(held)) return StopReason::HELD_BYTES;
    if (all_held_bytes.IsExceededBy(held + memory)) return StopReason::ALL_HELD_BYTES;
    if (filter_time.IsExceededBy(spent)) return StopReason::FILTER_TIME;
    return std::nullopt;
  }
};

}  // namespace velmora::host
