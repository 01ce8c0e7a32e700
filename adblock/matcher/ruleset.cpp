#include "ruleset.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "hash.h"
#include "pattern.h"
#include "registrable_domain.h"
#include "text.h"

namespace velmora::adblock {
namespace {

/// Is `host` on the list of names with its head at `head`? The longest name that fits decides;
/// where none does, a list that only excludes says yes.
bool IsOnList(const Image &image, std::uint32_t head, const HostSuffixes &host) noexcept {
  const DomainRecord list = image.domains[head];
  const auto find = [&](std::string_view name, std::uint64_t long_hash, std::uint16_t any_suffix) {
    const auto hash = static_cast<std::uint32_t>(long_hash);
    std::uint32_t first = head + 1;
    std::uint32_t last = first + std::min(list.offset, image.domains.Count() - head - 1);
    const std::uint32_t end = last;
    while (first < last) {
      const std::uint32_t middle = first + (last - first) / 2;
      if (image.domains[middle].hash < hash) {
        first = middle + 1;
      } else {
        last = middle;
      }
    }
    for (; first < end; ++first) {
      const DomainRecord record = image.domains[first];
      if (record.hash != hash) break;
      if ((record.flags & DOMAIN_ANY_SUFFIX) == any_suffix &&
          image.Text(record.offset, record.size) == name) {
        return std::optional<bool>((record.flags & DOMAIN_EXCLUDED) == 0);
      }
    }
    return std::optional<bool>();
  };
  for (const HostSuffixes::Suffix &suffix : host) {
    if (const auto found = find(host.Name(suffix), suffix.hash, 0)) return *found;
  }
  if (list.flags & DOMAINS_ANY_SUFFIX) {
    const HostSuffixes shortened(WithoutPublicSuffix(host.Host()));
    for (const HostSuffixes::Suffix &suffix : shortened) {
      if (const auto found = find(shortened.Name(suffix), suffix.hash, DOMAIN_ANY_SUFFIX)) {
        return *found;
      }
    }
  }
  return (list.flags & DOMAINS_INCLUDE) == 0;
}

}  // namespace

/// One question on its way through the index.
class Ruleset::Inquiry {
 public:
  Inquiry(const Ruleset &ruleset, const Address &address, std::string_view page_host,
          std::uint16_t asked) noexcept
      : image_(ruleset.image_),
        expressions_(ruleset.expressions_),
        address_(address),
        address_host_(address.Host()),
        page_host_(page_host),
        asked_(asked),
        filter_shift_(64 - image_.Header().filter_bits),
        bucket_shift_(64 - image_.Header().bucket_bits) {}

  Verdict Run() noexcept {
    if (!FindByHosts() && !FindByTokens()) FindUnkeyed();
    return verdict_;
  }

 private:
  // Each step says whether the question is settled: nothing of a higher rank can come.

  bool FindByHosts() noexcept {
    const std::size_t end = address_.HostEnd();
    for (const HostSuffixes::Suffix &suffix : address_host_) {
      const std::size_t start = address_.HostStart() + suffix.start;
      if (Find(suffix.hash ^ KEY_ADDRESS_HOST, start, end)) return true;
    }
    for (const HostSuffixes::Suffix &suffix : page_host_) {
      if (Find(suffix.hash ^ KEY_PAGE_HOST, NO_PLACE, 0)) return true;
      if (image_.Header().has_page_labels &&
          Find(HashBytes(page_host_.Label(suffix)) ^ KEY_PAGE_LABEL, NO_PLACE, 0)) {
        return true;
      }
    }
    return false;
  }

  bool FindByTokens() noexcept {
    const char *text = address_.Lowered().data();
    return address_.AnyToken([&](std::size_t start, std::size_t end) noexcept {
      const std::size_t size = end - start;
      if (size >= TOKEN_PREFIX &&
          Find(HashPaddedBytes(text + start, TOKEN_PREFIX) ^ KEY_TOKEN_PREFIX, start,
               start + TOKEN_PREFIX)) {
        return true;
      }
      return Find(HashPaddedBytes(text + start, size) ^ KEY_TOKEN, start, end);
    }) || FindNoted();
  }

  /// Notes a key, found at [place, end) of the address.
  bool Find(std::uint64_t key, std::size_t place, std::size_t end) noexcept {
    noted_[noted_count_++] = {key, static_cast<std::uint32_t>(place),
                              static_cast<std::uint32_t>(end)};
    return noted_count_ == noted_.size() && FindNoted();
  }

  /// Tries the rules with the keys that were noted. The processor fetches memory for many keys at
  /// once as none of them decides what is done next, first from the filter, then from the buckets;
  /// so a question waits for memory a few times and not for every key.
  bool FindNoted() noexcept {
    const std::size_t noted_count = std::exchange(noted_count_, 0);
    std::array<std::uint8_t, NOTED> known;
    std::size_t known_count = 0;
    for (std::size_t at = 0; at < noted_count; ++at) {
      const std::uint64_t bit = noted_[at].key >> filter_shift_;
      known[known_count] = static_cast<std::uint8_t>(at);
      known_count += image_.filter[bit / 64] >> (bit % 64) & 1;
    }
    std::array<std::uint32_t, NOTED> first;
    std::array<std::uint32_t, NOTED> last;
    for (std::size_t at = 0; at < known_count; ++at) {
      const std::uint64_t bucket = noted_[known[at]].key >> bucket_shift_;
      first[at] = image_.buckets[bucket];
      last[at] = std::min(image_.buckets[bucket + 1], image_.entries.Count());
      image_.entries.Prefetch(first[at]);
    }
    for (std::size_t at = 0; at < known_count; ++at) {
      const Noted &note = noted_[known[at]];
      const std::uint32_t surroundings =
          note.place == NO_PLACE ? 0 : address_.Surroundings(note.place, note.end);
      for (std::uint32_t number = first[at]; number < last[at]; ++number) {
        const IndexEntry entry = image_.entries[number];
        if (entry.key == static_cast<std::uint32_t>(note.key) &&
            ((entry.surroundings ^ surroundings) & entry.mask) == 0 &&
            Try(entry.rule, note.place)) {
          return true;
        }
      }
    }
    return false;
  }

  void FindUnkeyed() noexcept {
    for (std::uint32_t at = 0; at < image_.unkeyed.Count(); ++at) {
      if (Try(image_.unkeyed[at], NO_PLACE)) return;
    }
  }

  bool Try(std::uint32_t number, std::uint32_t place) noexcept {
    const RuleRecord rule = image_.rules[number];
    if (!(rule.flags & asked_)) return false;
    const unsigned rank = RankOf(rule.flags);
    if (rank <= rank_) return false;
    if (!Matches(rule, place)) return false;
    rank_ = rank;
    verdict_ = {(rule.flags & RULE_ALLOW) ? Verdict::Kind::kAllowed : Verdict::Kind::kBlocked,
                number};
    return rank_ >= image_.Header().highest_rank;
  }

  /// Pattern and conditions, what costs least first.
  bool Matches(const RuleRecord &rule, std::uint32_t place) noexcept {
    const std::string_view pattern = image_.Text(rule.pattern);
    if (rule.flags & RULE_EXPRESSION) {
      const Expression *expression =
          expressions_.Get(rule.offset, pattern, rule.flags & RULE_MATCH_CASE);
      return expression && expression->MayMatch(address_) && Applies(rule) &&
             expression->Matches(address_);
    }
    std::size_t start = ANYWHERE;
    if (place != NO_PLACE && rule.offset != NO_OFFSET) {
      if (rule.offset > place) return false;
      start = place - rule.offset;
    }
    return MatchPattern(address_, pattern, rule.flags, start) && Applies(rule);
  }

  bool Applies(const RuleRecord &rule) noexcept {
    constexpr std::uint16_t PARTIES = RULE_THIRD_PARTY | RULE_FIRST_PARTY;
    if ((rule.flags & PARTIES) != 0 && (rule.flags & PARTIES) != PARTIES) {
      if (!third_party_) third_party_ = IsThirdParty(page_host_.Host(), address_.Host());
      if (*third_party_ != ((rule.flags & RULE_THIRD_PARTY) != 0)) return false;
    }
    if (rule.page_domains && !IsOnList(image_, rule.page_domains, page_host_)) return false;
    return !rule.address_domains || IsOnList(image_, rule.address_domains, address_host_);
  }

  static constexpr std::size_t NOTED = 64;
  static constexpr std::uint32_t NO_PLACE = ~0U;
  struct Noted {
    std::uint64_t key;
    std::uint32_t place;
    std::uint32_t end;
  };

  const Image &image_;
  ExpressionCache &expressions_;
  const Address &address_;
  const HostSuffixes address_host_;
  const HostSuffixes page_host_;
  const std::uint16_t asked_;
  const unsigned filter_shift_;
  const unsigned bucket_shift_;
  std::optional<bool> third_party_;
  unsigned rank_ = 0;
  Verdict verdict_;
  std::size_t noted_count_ = 0;
  std::array<Noted, NOTED> noted_;
};

Ruleset::Ruleset(Image image)
    : image_(std::move(image)), expressions_(image_.Header().expressions) {}

Verdict Ruleset::Judge(const Question &question) const noexcept {
  const Address address(question.address);
  if (!address.HasHost()) return {};
  const PageHost page_host(question.page_host);
  return Inquiry(*this, address, page_host.Get(), static_cast<std::uint16_t>(question.asked)).Run();
}

bool Ruleset::IsAdSize(std::int32_t width, std::int32_t height) const noexcept {
  constexpr std::int32_t MOST = 0xFFFF;
  if (width <= 0 || height <= 0 || width > MOST || height > MOST) return false;
  const std::uint32_t wanted =
      static_cast<std::uint32_t>(width) << 16 | static_cast<std::uint32_t>(height);
  std::uint32_t first = 0;
  std::uint32_t last = image_.sizes.Count();
  while (first < last) {
    const std::uint32_t middle = first + (last - first) / 2;
    if (image_.sizes[middle] < wanted) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return image_.sizes[first] == wanted;
}

RuleOrigin Ruleset::OriginOf(std::uint32_t number) const noexcept {
  const RuleRecord rule = image_.rules[number];
  return {image_.Text(rule.text), image_.Text(image_.lists[rule.list].name), rule.line};
}

}  // namespace velmora::adblock
