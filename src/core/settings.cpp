#include "core/settings.h"

#include <cstring>

#include "core/strings.h"

namespace velmora {
namespace {

/// The option block's second word.
constexpr std::size_t MASK_OFFSET = 4;
/// Blocks below this size carry no mask. It is less than the mask needs: the missing bytes of a
/// block of 4 to 7 bytes read as zero.
constexpr std::size_t SMALLEST_BLOCK = 4;

std::uint32_t SuppressedBits(const std::vector<std::uint8_t> &block) noexcept {
  if (block.size() < SMALLEST_BLOCK) return 0;
  std::uint32_t mask = 0;
  for (std::size_t i = 0; i < 4 && MASK_OFFSET + i < block.size(); ++i) {
    mask |= std::uint32_t{block[MASK_OFFSET + i]} << (8 * i);
  }
  return mask;
}

}  // namespace

std::uint32_t CategoryBit(std::int32_t category) noexcept {
  for (const CategoryInfo &info : CATEGORIES) {
    if (info.code == category) return info.bit;
  }
  return 0;
}

bool IsFeatureEnabled(IDataContext &context, std::int32_t category) noexcept {
  const bool enabled = context.IsCategoryEnabled(category);
  if ((SuppressedBits(context.GetOptionBlock()) & CategoryBit(category)) != 0) return false;
  return enabled;
}

bool IsSettingTrue(IDataContext &context, const char *name) noexcept {
  const char *value = context.GetSetting(name);
  return value != nullptr && EqualNoCase(value, "true");
}

}  // namespace velmora
