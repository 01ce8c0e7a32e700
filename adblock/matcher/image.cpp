#include "image.h"

#include "matcher_version.h"
#include "registrable_domain.h"

namespace velmora::adblock {
namespace {

template <typename Record>
bool OpenSection(std::string_view bytes, const Section &section, Table<Record> *table) noexcept {
  const std::uint64_t end =
      section.offset + std::uint64_t{section.count} * std::uint64_t{sizeof(Record)};
  if (section.offset < sizeof(ImageHeader) || end > bytes.size()) return false;
  *table = Table<Record>(bytes.data() + section.offset, section.count);
  return true;
}

}  // namespace

std::uint64_t ImageVersion() noexcept {
  return MATCHER_VERSION ^ FingerprintOf(PublicSuffixVersion()).words[0];
}

std::optional<Image> Image::Open(SharedBytes bytes) {
  const std::string_view view = bytes.bytes;
  if (view.size() < sizeof(ImageHeader)) return std::nullopt;
  Image image;
  ImageHeader &header = image.header_;
  std::memcpy(&header, view.data(), sizeof header);
  if (std::memcmp(header.magic, IMAGE_MAGIC, sizeof IMAGE_MAGIC) != 0 ||
      header.version != ImageVersion() || header.byte_order != IMAGE_BYTE_ORDER ||
      header.content != FingerprintOf(view.substr(IMAGE_UNFINGERPRINTED))) {
    return std::nullopt;
  }
  Table<std::uint32_t> buckets;
  Table<std::uint64_t> filter;
  Table<std::uint64_t> popups;
  Table<char> text;
  const bool inside =
      OpenSection(view, header.lists, &image.lists) &&
      OpenSection(view, header.rules, &image.rules) &&
      OpenSection(view, header.origins, &image.origins) &&
      OpenSection(view, header.entries, &image.entries) &&
      OpenSection(view, header.buckets, &buckets) && OpenSection(view, header.filter, &filter) &&
      OpenSection(view, header.popups, &popups) &&
      OpenSection(view, header.unkeyed, &image.unkeyed) &&
      OpenSection(view, header.domains, &image.domains) &&
      OpenSection(view, header.sizes, &image.sizes) && OpenSection(view, header.text, &text);
  const auto are_places = [](std::uint32_t bits) {
    return bits >= MIN_PLACE_BITS && bits <= MAX_PLACE_BITS;
  };
  const bool buckets_fit =
      are_places(header.bucket_bits) && buckets.Count() == (1U << header.bucket_bits) + 1;
  const bool filter_fits = are_places(header.filter_bits) &&
                           filter.Count() == 1U << (header.filter_bits - 6) &&
                           popups.Count() == 1U << (POPUP_FILTER_BITS - 6);
  if (!inside || !buckets_fit || !filter_fits || header.expressions > header.rules.count) {
    return std::nullopt;
  }
  image.buckets = Buckets(view.data() + header.buckets.offset, header.bucket_bits);
  image.filter = KeyFilter(view.data() + header.filter.offset, header.filter_bits);
  image.popups = KeyFilter(view.data() + header.popups.offset, POPUP_FILTER_BITS);
  image.text_ = view.substr(header.text.offset, header.text.count);
  image.bytes_ = std::move(bytes);
  return image;
}

}  // namespace velmora::adblock
