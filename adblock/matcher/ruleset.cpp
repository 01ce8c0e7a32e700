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
bool IsOnList(const Image &image, std::uint32_t head, std::string_view host) noexcept {
  const DomainRecord list = image.domains[head];
  std::optional<bool> answer;
  const auto find = [&](std::string_view name, std::uint16_t any_suffix) {
    const auto hash = static_cast<std::uint32_t>(HashPaddedBytes(name.data(), name.size()) >> 32);
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
        answer = (record.flags & DOMAIN_EXCLUDED) == 0;
        break;
      }
    }
    return answer.has_value();
  };
  const auto find_suffix = [&](std::string_view of, std::uint16_t any_suffix) {
    return AnyHostSuffix(
        of, [&](std::size_t start, std::size_t) { return find(of.substr(start), any_suffix); });
  };
  if (find_suffix(host, 0)) return *answer;
  if ((list.flags & DOMAINS_ANY_SUFFIX) &&
      find_suffix(WithoutPublicSuffix(host), DOMAIN_ANY_SUFFIX)) {
    return *answer;
  }
  return (list.flags & DOMAINS_INCLUDE) == 0;
}

}  // namespace

/// One question on its way through the rules.
class Ruleset::Inquiry {
 public:
  Inquiry(const Ruleset &ruleset, const Address &address, std::string_view page_host,
          std::uint16_t asked) noexcept
      : image_(ruleset.image_),
        expressions_(ruleset.expressions_),
        address_(address),
        page_host_(page_host),
        asked_(asked),
        bucket_shift_(64 - image_.Header().bucket_bits) {}

  Verdict Find() noexcept {
    NoteHosts();
    NoteTokens();
    TryNoted();
    for (std::uint32_t at = 0; at < image_.unkeyed.Count(); ++at) {
      Try(image_.unkeyed[at], NO_PLACE);
    }
    return verdict_;
  }

  Verdict TryAll() noexcept {
    for (std::uint32_t number = 0; number < image_.rules.Count(); ++number) Try(number, NO_PLACE);
    return verdict_;
  }

 private:
  static constexpr std::size_t NOTED = 64;
  static constexpr std::uint32_t NO_PLACE = ~0U;
  struct Noted {
    std::uint64_t key;
    std::uint32_t place;
    std::uint32_t end;
  };
  struct Found {
    std::uint64_t key;
    std::uint64_t behind;
    std::uint32_t place;
    std::uint32_t first;
    std::uint32_t last;
  };

  void NoteHosts() noexcept {
    const auto host_start = static_cast<std::uint32_t>(address_.HostStart());
    const auto host_end = static_cast<std::uint32_t>(address_.HostEnd());
    const std::string_view host = address_.Host();
    AnyHostSuffix(host, [&](std::size_t start, std::size_t) noexcept {
      Note(HashPaddedBytes(host.data() + start, host.size() - start) ^ KEY_ADDRESS_HOST,
           host_start + static_cast<std::uint32_t>(start), host_end);
      return false;
    });
    const bool has_labels = image_.Header().has_page_labels != 0;
    AnyHostSuffix(page_host_, [&](std::size_t start, std::size_t label_size) noexcept {
      const char *suffix = page_host_.data() + start;
      Note(HashPaddedBytes(suffix, page_host_.size() - start) ^ KEY_PAGE_HOST, NO_PLACE, 0);
      if (has_labels) Note(HashPaddedBytes(suffix, label_size) ^ KEY_PAGE_LABEL, NO_PLACE, 0);
      return false;
    });
  }

  void NoteTokens() noexcept {
    // Both stay in registers, where members would be read again for each token.
    const KeyFilter filter = image_.filter;
    std::size_t count = noted_count_;
    address_.ForEachToken([&](std::size_t start, std::size_t size, std::uint64_t bytes) noexcept {
      const std::uint64_t key = HashWord(bytes) ^ KEY_TOKEN;
      noted_[count] = {key, static_cast<std::uint32_t>(start),
                       static_cast<std::uint32_t>(start + size)};
      count += filter.Has(key);
      if (count == noted_.size()) {
        noted_count_ = count;
        TryNoted();
        count = 0;
      }
    });
    noted_count_ = count;
  }

  /// Notes a key that rules may have, found at [place, end) of the address. There is no branch, as
  /// nothing tells which keys pass the filter; and no key decides what is done with the next one,
  /// so that the processor waits for memory for many keys at once.
  void Note(std::uint64_t key, std::uint32_t place, std::uint32_t end) noexcept {
    noted_[noted_count_] = {key, place, end};
    noted_count_ += image_.filter.Has(key);
    if (noted_count_ == noted_.size()) TryNoted();
  }

  /// Tries the rules that have the keys noted, in the same way: what each key leads to is looked
  /// up for all of them before anything is done with it.
  void TryNoted() noexcept {
    std::array<Found, NOTED *(LOOKUP_BYTES + 1)> found;
    std::size_t found_count = 0;
    for (std::size_t at = 0; at < noted_count_; ++at) {
      const Noted &note = noted_[at];
      const std::uint64_t behind = note.place == NO_PLACE ? 0 : address_.WordAt(note.end);
      for (std::size_t count = 0; count <= LOOKUP_BYTES; ++count) {
        const std::uint64_t key = LookupKey(note.key, behind, count);
        found[found_count] = {key, behind, note.place, 0, 0};
        found_count += image_.filter_2.Has(key);
      }
    }
    noted_count_ = 0;
    for (std::size_t at = 0; at < found_count; ++at) {
      const std::uint64_t bucket = found[at].key >> bucket_shift_;
      found[at].first = image_.buckets[bucket];
      found[at].last = std::min(image_.buckets[bucket + 1], image_.entries.Count());
      image_.entries.Prefetch(found[at].first);
    }
    for (std::size_t at = 0; at < found_count; ++at) TryFound(found[at]);
  }

  void TryFound(const Found &found) noexcept {
    const std::uint16_t key = ComparedBits(found.key);
    for (std::uint32_t number = found.first; number < found.last; ++number) {
      const IndexEntry entry = image_.entries[number];
      if (entry.key == key &&
          ((entry.behind ^ found.behind) & FIRST_BYTES[entry.span % FIRST_BYTES.size()]) == 0 &&
          (entry.before == 0 ||
           (found.place != NO_PLACE && entry.before == address_.ByteBefore(found.place)))) {
        Try(entry.rule, found.place);
      }
    }
  }

  /// The rule of the highest rank decides, of several the first.
  void Try(std::uint32_t number, std::uint32_t place) noexcept {
    const RuleRecord rule = image_.rules[number];
    if (!(rule.flags & asked_)) return;
    const unsigned rank = RankOf(rule.flags);
    if (rank < rank_ || (rank == rank_ && number >= verdict_.rule)) return;
    if (!Matches(rule, place)) return;
    rank_ = rank;
    verdict_ = {(rule.flags & RULE_ALLOW) ? Verdict::Kind::kAllowed : Verdict::Kind::kBlocked,
                number};
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
      if (!third_party_) third_party_ = IsThirdParty(page_host_, address_.Host());
      if (*third_party_ != ((rule.flags & RULE_THIRD_PARTY) != 0)) return false;
    }
    if (rule.page_domains && !IsOnList(image_, rule.page_domains, page_host_)) return false;
    return !rule.address_domains || IsOnList(image_, rule.address_domains, address_.Host());
  }

  const Image &image_;
  ExpressionCache &expressions_;
  const Address &address_;
  const std::string_view page_host_;
  const std::uint16_t asked_;
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
  return Inquiry(*this, address, page_host.Get(), static_cast<std::uint16_t>(question.asked))
      .Find();
}

Verdict Ruleset::JudgePlainly(const Question &question) const noexcept {
  const Address address(question.address);
  if (!address.HasHost()) return {};
  const PageHost page_host(question.page_host);
  return Inquiry(*this, address, page_host.Get(), static_cast<std::uint16_t>(question.asked))
      .TryAll();
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
