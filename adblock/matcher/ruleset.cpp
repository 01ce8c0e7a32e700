#include "ruleset.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "domain_list.h"
#include "hash.h"
#include "host_names.h"
#include "pattern.h"
#include "registrable_domain.h"
#include "text.h"

namespace velmora::adblock {
/// One URL on its way through the rules.
class Ruleset::Inquiry {
 public:
  Inquiry(const Ruleset &ruleset, const Url &url, Page &page, const Question &question) noexcept
      : image_(ruleset.image_),
        filter_(question.types == TYPE_POPUP ? image_.popups : image_.filter),
        expressions_(ruleset.expressions_),
        url_(url),
        page_(page),
        method_(question.method),
        types_(question.types) {}

  void Find() noexcept {
    is_indexed_ = true;
    for (const std::uint64_t key : page_.Keys()) TryEntries({key, NO_PLACE, 0});
    NoteHosts();
    NoteTokens();
    TryNoted();
    if (!(image_.Header().unkeyed_types & types_)) return;
    for (std::uint32_t at = 0; at < image_.unkeyed.Count() && !effort_.IsSpent(); ++at) {
      Try(image_.unkeyed[at], NO_PLACE);
    }
  }

  void TryAll() noexcept {
    for (std::uint32_t number = 0; number < image_.rules.Count(); ++number) Try(number, NO_PLACE);
  }

  const Verdict &Answer() const noexcept { return verdict_; }
  std::size_t Spent() const noexcept { return effort_.Spent(); }

 private:
  /// Room for the suffixes of the longest host, and for the tokens of a piece of the URL.
  static constexpr std::size_t NOTED = MAX_HOST + Url::SOME_TOKENS;
  static constexpr std::uint32_t NO_PLACE = ~0U;
  /// A lookup key of which there are entries, and the place that it comes from.
  struct Found {
    std::uint64_t key;
    std::uint32_t place;
    std::uint32_t end;
  };

  /// Notes a key that rules may have, found at `place` of the URL, as number `count`; returns how
  /// many there are then. There is no branch, as nothing tells which keys pass the filter; and no
  /// key decides what is done with the next one, so that the processor waits for memory for many
  /// keys at once.
  std::size_t Note(const KeyFilter &filter, std::size_t count, std::uint64_t key,
                   std::size_t place) noexcept {
    noted_keys_[count] = key;
    noted_places_[count] = static_cast<std::uint32_t>(place);
    return count + filter.Has(key);
  }

  void NoteHosts() noexcept {
    // Both stay in registers, where members would be read again for each key.
    const KeyFilter filter = filter_;
    std::size_t count = 0;
    const std::string_view host = url_.Host();
    const std::size_t host_start = url_.HostStart();
    AnyHostSuffix(host, [&](std::size_t start, std::size_t) noexcept {
      const std::uint64_t key =
          HashPaddedBytes(host.data() + start, host.size() - start) ^ KEY_URL_HOST;
      count = Note(filter, count, key, host_start + start);
      return false;
    });
    noted_count_ = noted_hosts_ = count;
  }

  void NoteTokens() noexcept {
    const KeyFilter filter = filter_;
    std::size_t count = noted_count_;
    const auto make_room = [&]() noexcept {
      if (count + Url::SOME_TOKENS <= NOTED) return;
      noted_count_ = count;
      TryNoted();
      count = 0;
    };
    url_.ForEachToken(make_room, [&](std::size_t start, std::uint64_t bytes) noexcept {
      count = Note(filter, count, HashWord(bytes) ^ KEY_TOKEN, start);
    });
    noted_count_ = count;
  }

  /// Tries the rules that have the keys noted, in the same way: what each key leads to is looked
  /// up for all of them before anything is done with it.
  void TryNoted() noexcept {
    std::array<Found, 2 * NOTED> found;
    std::size_t found_count = 0;
    const Buckets buckets = image_.buckets;
    for (std::size_t at = 0; at < noted_count_; ++at) {
      const std::uint64_t key = noted_keys_[at];
      const std::uint32_t place = noted_places_[at];
      const std::size_t end = at < noted_hosts_ ? url_.HostEnd() : url_.TokenEnd(place);
      for (const std::uint64_t lookup :
           {LongLookupKey(key, url_.WordAt(end)), ShortLookupKey(key)}) {
        const std::uint32_t head = buckets.Head(buckets.NumberOf(lookup));
        found[found_count] = {lookup, place, static_cast<std::uint32_t>(end)};
        image_.entries.Prefetch(BucketPlace(head));
        found_count += head >> BucketMark(lookup) & 1;
      }
    }
    noted_count_ = noted_hosts_ = 0;
    for (std::size_t at = 0; at < found_count && !effort_.IsSpent(); ++at) TryEntries(found[at]);
  }

  void TryEntries(const Found &found) noexcept {
    const Buckets buckets = image_.buckets;
    const Table<IndexEntry> entries = image_.entries;
    const std::uint64_t bucket = buckets.NumberOf(found.key);
    const std::uint32_t first = buckets.First(bucket);
    const std::uint32_t last = std::min(buckets.Last(bucket), entries.Count());
    if (first >= last) return;
    effort_.Spend(std::size_t{last - first});
    const std::uint16_t key = ComparedBits(found.key);
    const std::uint64_t after = found.place == NO_PLACE ? 0 : url_.WordAt(found.end);
    const unsigned before = found.place == NO_PLACE ? 0 : url_.ByteBefore(found.place);
    entries.ForEach(first, last, [&](const IndexEntry &entry) noexcept {
      const std::uint64_t differs =
          ((entry.after ^ after) & FIRST_BYTES[entry.span % FIRST_BYTES.size()]) |
          static_cast<unsigned>(entry.key ^ key);
      const bool other_before = (entry.before != 0) & (entry.before != before);
      if ((differs != 0) | other_before) return;
      Try(entry.rule, found.place);
    });
  }

  /// The rule of the highest rank decides, of several the first.
  void Try(std::uint32_t number, std::uint32_t place) noexcept {
    const RuleRecord rule = image_.rules[number];
    if (!(rule.types & types_)) return;
    const unsigned rank = RankOf(rule.flags);
    if (rank < rank_ || (rank == rank_ && number >= verdict_.rule) || IsSettled(number)) return;
    effort_.Spend(16);
    const Match match = Matches(rule, place);
    if (match == Match::kYes) {
      rank_ = rank;
      verdict_ = {(rule.flags & RULE_ALLOW) ? Verdict::Kind::kAllowed : Verdict::Kind::kBlocked,
                  number};
    } else if (match == Match::kNotAfter) {
      Settle(number);
    }
  }

  /// Pattern and conditions, what costs least first. Keys come in the order of their places, so
  /// that a rule that will not match after one of them need not be tried again.
  Match Matches(const RuleRecord &rule, std::uint32_t place) noexcept {
    if (rule.methods != 0 && !(rule.methods & method_)) return Match::kNotAfter;
    const std::string_view pattern = image_.Text(rule.pattern, rule.pattern_size);
    if (rule.flags & RULE_EXPRESSION) {
      const Expression *expression =
          expressions_.Get(rule.offset, pattern, rule.flags & RULE_MATCH_CASE);
      return expression && Applies(rule) && expression->MayMatch(url_, &effort_) &&
                     expression->Matches(url_, &effort_)
                 ? Match::kYes
                 : Match::kNotAfter;
    }
    std::size_t start = ANYWHERE;
    if (place != NO_PLACE && rule.offset != NO_OFFSET) {
      if (rule.offset > place) return Match::kNo;
      start = place - rule.offset;
    }
    const Match match = MatchPattern(url_, pattern, rule.flags, start, &effort_);
    return match == Match::kYes && !Applies(rule) ? Match::kNotAfter : match;
  }

  bool Applies(const RuleRecord &rule) noexcept {
    constexpr std::uint16_t PARTIES = RULE_THIRD_PARTY | RULE_FIRST_PARTY;
    if ((rule.flags & PARTIES) != 0 && (rule.flags & PARTIES) != PARTIES) {
      if (!third_party_) third_party_ = IsThirdParty(page_.Host(), url_.Host());
      if (*third_party_ != ((rule.flags & RULE_THIRD_PARTY) != 0)) return false;
    }
    if (rule.page_domains) {
      effort_.Spend(32 + page_.Host().size());
      if (!page_.IsOn(image_, rule.page_domains)) return false;
    }
    if (!rule.url_domains) return true;
    effort_.Spend(32 + url_.Host().size());
    return IsOnDomainList(image_, rule.url_domains, url_.Host());
  }

  /// Rules of which it is known that they will not match; of two with the same slot the later one.
  bool IsSettled(std::uint32_t number) const noexcept {
    return has_settled_ && settled_[number % settled_.size()] == number;
  }
  void Settle(std::uint32_t number) noexcept {
    if (!is_indexed_) return;
    if (!has_settled_) settled_.fill(Verdict::NO_RULE);
    has_settled_ = true;
    settled_[number % settled_.size()] = number;
  }

  const Image &image_;
  /// Of the keys of rules that may be for what is asked about.
  const KeyFilter filter_;
  ExpressionCache &expressions_;
  const Url &url_;
  Page &page_;
  const std::uint16_t method_;
  const std::uint16_t types_;
  bool is_indexed_ = false;
  bool has_settled_ = false;
  Effort effort_;
  std::optional<bool> third_party_;
  unsigned rank_ = 0;
  Verdict verdict_;
  /// The first of the keys noted are of hosts.
  std::size_t noted_hosts_ = 0;
  std::size_t noted_count_ = 0;
  std::array<std::uint64_t, NOTED> noted_keys_;
  std::array<std::uint32_t, NOTED> noted_places_;
  std::array<std::uint32_t, 64> settled_;
};

namespace {

/// The host of a page, or the URL, as requests spell it.
std::string WithAsciiHost(const Url &url) {
  const std::string_view text = url.Original();
  std::string spelled(text.substr(0, url.HostStart()));
  spelled += AsciiSpelling(url.Host()).value_or(std::string(url.Host()));
  return spelled.append(text.substr(url.HostEnd()));
}

/// Calls `ask` with the URL, if it has a host.
template <typename Ask>
void WithUrl(std::string_view text, Ask ask) noexcept {
  const Url url(text);
  if (!url.HasHost()) return;
  if (!url.IsHostBeyondAscii()) return ask(url);
  try {
    const std::string spelled = WithAsciiHost(url);
    ask(Url(spelled));
  } catch (const std::bad_alloc &) {
    ask(url);
  }
}

}  // namespace

Ruleset::Ruleset(Image image)
    : image_(std::move(image)), expressions_(image_.Header().expressions) {}

Verdict Ruleset::Judge(const Question &question) const noexcept {
  Verdict verdict;
  WithUrl(question.url, [&](const Url &url) noexcept {
    Page page(question.page_host);
    page.FindKeys(image_);
    Inquiry inquiry(*this, url, page, question);
    inquiry.Find();
    verdict = inquiry.Answer();
  });
  return verdict;
}

Verdict Ruleset::JudgeRequest(std::string_view page, Question question) const noexcept {
  if (page.empty() && (question.types & TYPE_DOCUMENT)) page = question.url;
  const Url page_url(page);
  question.page_host = page_url.HasHost() ? page_url.Host() : page;
  return Judge(question);
}

Verdict Ruleset::JudgeInPage(const Question &question) const noexcept {
  Desks::Held held(desks_);
  Desk *const desk = held.For(question.page_host, image_);
  if (!desk) return Judge(question);
  const AnswerMemory::Key key =
      AnswerMemory::KeyOf(question.url, question.types | std::uint32_t{question.method} << 16);
  if (const auto known = desk->answers.Find(key)) return *known;
  Verdict verdict;
  WithUrl(question.url, [&](const Url &url) noexcept {
    Inquiry inquiry(*this, url, *desk->page, question);
    inquiry.Find();
    verdict = inquiry.Answer();
  });
  desk->answers.Keep(key, verdict);
  return verdict;
}

Verdict Ruleset::JudgePlainly(const Question &question) const noexcept {
  Verdict verdict;
  WithUrl(question.url, [&](const Url &url) noexcept {
    Page page(question.page_host);
    Inquiry inquiry(*this, url, page, question);
    inquiry.TryAll();
    verdict = inquiry.Answer();
  });
  return verdict;
}

std::size_t Ruleset::EffortOf(const Question &question) const noexcept {
  std::size_t effort = 0;
  WithUrl(question.url, [&](const Url &url) noexcept {
    Page page(question.page_host);
    page.FindKeys(image_);
    Inquiry inquiry(*this, url, page, question);
    inquiry.Find();
    effort = inquiry.Spent();
  });
  return effort;
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
  const OriginRecord origin = image_.origins[number];
  return {image_.Text(origin.text, origin.text_size), image_.Text(image_.lists[origin.list].name),
          origin.line};
}

}  // namespace velmora::adblock
