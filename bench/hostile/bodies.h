// Bodies that are made up to cost much.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace velmora::bench {

/// What a user has blocked.
enum class Blocking { EVERYTHING, NO_SCRIPTS_AS_SUCH };

/// A body that can be made in any size: what it begins with, what it repeats, and what it ends
/// with.
struct HostileBody {
  std::string_view name;
  std::string_view content_type;
  std::string_view begin;
  std::string_view repeated;
  std::string_view end = {};
  Blocking blocking = Blocking::NO_SCRIPTS_AS_SUCH;
  /// For each thousand bytes of what is repeated, bytes of this come before it.
  std::string_view before = {};
  std::size_t before_per_mille = 0;
  /// Bytes that a host pushes at once.
  std::size_t piece = 16U << 10;
  bool is_gzipped = false;

  /// Of about `size` bytes, before it is gzipped.
  std::string Text(std::size_t size) const;
};

std::span<const HostileBody> HostileBodies();

/// Rules for an ad-blocking library that has none: a few of each kind.
std::string_view HostileRules();

}  // namespace velmora::bench
