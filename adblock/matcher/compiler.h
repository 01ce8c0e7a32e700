// Compiles filter lists into an image.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "hash.h"
#include "image.h"
#include "line_parser.h"

namespace velmora::adblock {

struct ListText {
  std::string name;
  std::string text;
  Origin origin = Origin::kChosen;
};

/// Tells the content of lists, with their names, origins and order, from any other.
Fingerprint FingerprintOfLists(const std::vector<ListText> &lists);

/// Sizes of advertisements that are known without any list.
extern const std::span<const Size> STANDARD_SIZES;

/// Called for every line of a list with its number, from 1 on.
using LineVisitor = std::function<void(std::uint32_t, std::string_view, const ParsedLine &)>;
void VisitLines(std::string_view text, StringArena &arena, const LineVisitor &visit);

/// The bytes of the image.
std::string CompileLists(const std::vector<ListText> &lists);

}  // namespace velmora::adblock
