// From lists to an image, in four steps: read all lines; drop rules that are said twice or
// cancelled; choose for each rule the key that the fewest other rules have; write the sections.
#include "compiler.h"

#include <algorithm>
#include <bit>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "image.h"
#include "pattern.h"
#include "text.h"

namespace velmora::adblock {
namespace {

/// Tokens that stand in many addresses, the most common first: a rule is better found by a token
/// that seldom makes it be tried.
constexpr std::string_view COMMON_TOKENS[] = {
    "com", "https",  "http",    "www",   "1",       "org",   "js",      "jpg",    "en",
    "net", "images", "png",     "media", "html",    "img",   "2",       "0",      "c",
    "s",   "i",      "static",  "cdn",   "content", "news",  "image",   "auto",   "w",
    "co",  "upload", "uploads", "wp",    "gif",     "php",   "css",     "us",     "q",
    "id",  "a",      "assets",  "3",     "webp",    "api",   "index",   "the",    "and",
    "new", "page",   "search",  "of",    "to",      "in",    "fit",     "h",      "f",
    "r",   "min",    "url",     "10",    "12",      "thumb", "plugins", "themes", "v1",
    "v2",  "script", "scripts", "file",  "files",   "js2",   "lib",
};
/// For how many rules one place of these counts.
constexpr std::uint32_t COMMON_WEIGHT = 40;
/// For how many rules with the same key it counts when a rule is tried for all questions about some
/// hosts, and when that means all hosts under a suffix such as "com".
constexpr std::uint32_t HOSTS_WEIGHT = 300;
constexpr std::uint32_t SUFFIX_WEIGHT = 6000;

std::string LowerText(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), base::ToLowerAscii);
  return lower;
}

std::uint64_t IdentityOf(const std::vector<DomainName> &domains) {
  std::uint64_t identity = domains.size();
  for (const DomainName &domain : domains) {
    identity += (FingerprintOf(domain.name).words[0] | 1) *
                (1U + 2U * domain.excluded + 4U * domain.any_suffix);
  }
  return identity;
}

/// The same for rules that say the same, in whatever order and spelling their options stand.
std::uint64_t IdentityOf(const Rule &rule) {
  const std::uint64_t parts[] = {FingerprintOf(rule.pattern).words[0],
                                 rule.flags & static_cast<std::uint64_t>(~RULE_BAD_FILTER),
                                 IdentityOf(rule.page_domains), IdentityOf(rule.address_domains)};
  return FingerprintOf({reinterpret_cast<const char *>(parts), sizeof parts}).words[0];
}

struct Key {
  explicit Key(std::uint64_t of) : hash(of) {}
  /// The key of a piece of a pattern.
  Key(const PatternPiece &piece, std::uint64_t kind)
      : hash(HashBytes(LowerText(piece.text)) ^ kind),
        before(static_cast<std::uint8_t>(base::ToLowerAscii(piece.before))),
        span(static_cast<std::uint8_t>(piece.behind.size())) {
    if (piece.offset != ANYWHERE) offset = static_cast<std::uint32_t>(piece.offset);
    const std::string lower = LowerText(piece.behind);
    std::memcpy(&behind, lower.data(), lower.size());
  }

  std::uint64_t Lookup() const {
    return LookupKey(hash, behind, std::min<std::size_t>(span, LOOKUP_BYTES));
  }

  std::uint64_t hash;
  std::uint32_t offset = NO_OFFSET;
  /// See `IndexEntry`.
  std::uint64_t behind = 0;
  std::uint8_t before = 0;
  std::uint8_t span = 0;
};

/// The keys of a rule, each of which finds it alone.
std::vector<Key> KeysOf(const Rule &rule) {
  std::vector<Key> keys;
  for (const PatternPiece &token : (rule.flags & RULE_EXPRESSION)
                                       ? TokensOfExpression(rule.pattern)
                                       : TokensOfPattern(rule.pattern, rule.flags)) {
    keys.emplace_back(token, KEY_TOKEN);
  }
  if (const auto host = HostOfPattern(rule.pattern, rule.flags)) {
    keys.emplace_back(*host, KEY_ADDRESS_HOST);
  }
  return keys;
}

/// Keys that find a rule only together, as each of the hosts that it is for has its own.
struct HostKeys {
  std::vector<Key> keys;
  std::uint32_t weight = HOSTS_WEIGHT;
};

/// None where the rule is for all hosts but some.
HostKeys HostKeysOf(const std::vector<DomainName> &domains, std::uint64_t kind) {
  HostKeys hosts;
  for (const DomainName &domain : domains) {
    if (domain.excluded) continue;
    const std::size_t dot = domain.name.rfind('.');
    if (!domain.any_suffix) {
      if (dot == std::string_view::npos) hosts.weight = SUFFIX_WEIGHT;
      hosts.keys.emplace_back(HashBytes(domain.name) ^ kind);
    } else if (kind == KEY_PAGE_HOST) {
      hosts.keys.emplace_back(HashBytes(domain.name.substr(dot + 1)) ^ KEY_PAGE_LABEL);
    } else {
      return {};
    }
  }
  return hosts;
}

/// How many rules have a key; keys that share a slot count for each other.
class KeyCensus {
 public:
  explicit KeyCensus(std::size_t rules)
      : shift_(64 - std::clamp(static_cast<int>(std::bit_width(rules)) + 3, 8, 20)),
        counts_(std::size_t{1} << (64 - shift_)) {
    std::uint32_t weight = COMMON_WEIGHT * static_cast<std::uint32_t>(std::size(COMMON_TOKENS));
    for (const std::string_view token : COMMON_TOKENS) {
      std::uint32_t &count = counts_[HashBytes(token.substr(0, TOKEN_SIZE)) >> shift_];
      count = std::max(count, weight);
      weight -= COMMON_WEIGHT;
    }
  }
  void Add(const Key &key) { ++counts_[key.hash >> shift_]; }
  std::uint32_t Count(const Key &key) const { return counts_[key.hash >> shift_]; }

 private:
  int shift_;
  std::vector<std::uint32_t> counts_;
};

class Compiler {
 public:
  void Read(const std::vector<ListText> &lists) {
    sizes_.insert(STANDARD_SIZES.begin(), STANDARD_SIZES.end());
    for (const ListText &list : lists) {
      ListRecord record{};
      record.name = Keep(list.name);
      record.origin = list.origin;
      ReadList(list.text, &record.counts);
      lists_.push_back(record);
    }
  }

  void DropRepeated() {
    std::unordered_set<std::uint64_t> cancelled;
    for (const Rule &rule : rules_) {
      if (rule.flags & RULE_BAD_FILTER) cancelled.insert(IdentityOf(rule));
    }
    std::unordered_set<std::uint64_t> seen;
    seen.reserve(rules_.size());
    std::erase_if(rules_, [&](const Rule &rule) {
      if (rule.flags & RULE_BAD_FILTER) return true;
      ListCounts &counts = lists_[rule.list].counts;
      const std::uint64_t identity = IdentityOf(rule);
      if (cancelled.contains(identity)) {
        ++counts.cancelled;
        return true;
      }
      if (!seen.insert(identity).second) {
        ++counts.repeated;
        return true;
      }
      ++counts.rules;
      return false;
    });
  }

  void ChooseKeys() {
    KeyCensus census(rules_.size());
    for (const Rule &rule : rules_) {
      for (const Key &key : KeysOf(rule)) census.Add(key);
    }
    records_.reserve(rules_.size());
    for (const Rule &rule : rules_) {
      AddRule(rule, census);
      for (const DomainName &domain : rule.page_domains) {
        has_page_labels_ = has_page_labels_ || domain.any_suffix;
      }
    }
  }

  std::string Write(const Fingerprint &source) {
    ImageHeader header{};
    std::memcpy(header.magic, IMAGE_MAGIC, sizeof IMAGE_MAGIC);
    header.version = ImageVersion();
    header.byte_order = IMAGE_BYTE_ORDER;
    header.source = source;
    header.bucket_bits = std::max(2U, static_cast<unsigned>(std::bit_width(entries_.size()))) - 1;
    header.filter_bits = std::max(6U, header.bucket_bits + 4);
    header.expressions = expressions_;
    header.has_page_labels = has_page_labels_;

    const unsigned bucket_shift = 64 - header.bucket_bits;
    std::stable_sort(entries_.begin(), entries_.end(), [&](const KeyedRule &a, const KeyedRule &b) {
      return a.lookup >> bucket_shift < b.lookup >> bucket_shift;
    });
    std::vector<IndexEntry> entries;
    entries.reserve(entries_.size());
    std::vector<std::uint32_t> buckets((std::size_t{1} << header.bucket_bits) + 1);
    std::vector<std::uint64_t> filter(std::size_t{1} << (header.filter_bits - 6));
    std::vector<std::uint64_t> filter_2(filter.size());
    const auto mark = [&](std::uint64_t key, std::vector<std::uint64_t> &in) {
      const std::uint64_t bit = key >> (64 - header.filter_bits);
      in[bit / 64] |= std::uint64_t{1} << (bit % 64);
    };
    for (const auto &[key, rule, lookup] : entries_) {
      entries.push_back({key.behind, rule, ComparedBits(lookup), key.before, key.span});
      ++buckets[(lookup >> bucket_shift) + 1];
      mark(key.hash, filter);
      mark(lookup, filter_2);
    }
    for (std::size_t at = 1; at < buckets.size(); ++at) buckets[at] += buckets[at - 1];
    std::vector<std::uint32_t> sizes;
    for (const Size &size : sizes_) sizes.push_back(std::uint32_t{size.width} << 16 | size.height);

    std::string image(sizeof header, '\0');
    const auto section = [&](const auto &records) {
      image.resize((image.size() + 7) / 8 * 8);
      const Section place{static_cast<std::uint32_t>(image.size()),
                          static_cast<std::uint32_t>(records.size())};
      image.append(reinterpret_cast<const char *>(records.data()),
                   records.size() * sizeof records[0]);
      return place;
    };
    header.lists = section(lists_);
    header.rules = section(records_);
    header.entries = section(entries);
    header.buckets = section(buckets);
    header.filter = section(filter);
    header.filter_2 = section(filter_2);
    header.unkeyed = section(unkeyed_);
    header.domains = section(domains_);
    header.sizes = section(sizes);
    header.text = section(text_);
    std::memcpy(image.data(), &header, sizeof header);
    header.content = FingerprintOf(std::string_view(image).substr(IMAGE_UNFINGERPRINTED));
    std::memcpy(image.data(), &header, sizeof header);
    return image;
  }

 private:
  struct KeyedRule {
    Key key;
    std::uint32_t rule;
    std::uint64_t lookup;
  };

  void ReadList(std::string_view text, ListCounts *counts) {
    const auto list = static_cast<std::uint16_t>(lists_.size());
    VisitLines(text, arena_, [&](std::uint32_t line, std::string_view, const ParsedLine &parsed) {
      ++counts->lines;
      switch (parsed.kind) {
        case LineKind::kBlank:
          break;
        case LineKind::kComment:
          ++counts->comments;
          break;
        case LineKind::kRules:
          for (const Rule &rule : parsed.rules) {
            rules_.push_back(rule);
            rules_.back().list = list;
            rules_.back().line = line;
          }
          break;
        case LineKind::kSize:
          ++counts->sizes;
          sizes_.insert(parsed.size);
          break;
        case LineKind::kNoSizes:
          ++counts->sizes;
          sizes_.clear();
          break;
        case LineKind::kSkipped:
          ++counts->skipped[static_cast<std::size_t>(parsed.skip)];
          break;
      }
    });
  }

  void AddRule(const Rule &rule, const KeyCensus &census) {
    const auto number = static_cast<std::uint32_t>(records_.size());
    // Rules of one line share its text.
    if (rule.text.data() != last_text_.data()) {
      last_text_ = rule.text;
      last_place_ = Keep(rule.text);
    }
    RuleRecord record{};
    record.text = last_place_;
    record.pattern = PlaceOf(rule.pattern);
    record.line = rule.line;
    record.list = rule.list;
    record.flags = rule.flags;
    record.page_domains = AddDomains(rule.page_domains);
    record.address_domains = AddDomains(rule.address_domains);
    record.offset = AddKeys(rule, number, census);
    if (rule.flags & RULE_EXPRESSION) record.offset = expressions_++;
    records_.push_back(record);
  }

  /// Enters the rule into the index; where the chosen key's token begins in its pattern.
  std::uint32_t AddKeys(const Rule &rule, std::uint32_t number, const KeyCensus &census) {
    std::vector<Key> best;
    std::uint32_t best_weight = ~0U;
    for (const Key &key : KeysOf(rule)) {
      if (census.Count(key) >= best_weight) continue;
      best_weight = census.Count(key);
      best = {key};
    }
    for (HostKeys hosts : {HostKeysOf(rule.page_domains, KEY_PAGE_HOST),
                           HostKeysOf(rule.address_domains, KEY_ADDRESS_HOST)}) {
      if (hosts.keys.empty() || hosts.weight >= best_weight) continue;
      best_weight = hosts.weight;
      best = std::move(hosts.keys);
    }
    if (best.empty()) unkeyed_.push_back(number);
    for (const Key &key : best) entries_.push_back({key, number, key.Lookup()});
    return best.empty() ? NO_OFFSET : best.front().offset;
  }

  std::uint32_t AddDomains(const std::vector<DomainName> &domains) {
    if (domains.empty()) return 0;
    const auto [known, is_new] =
        domain_lists_.try_emplace(IdentityOf(domains), static_cast<std::uint32_t>(domains_.size()));
    if (!is_new) return known->second;
    DomainRecord head{};
    head.offset = static_cast<std::uint32_t>(domains.size());
    std::vector<DomainRecord> names;
    for (const DomainName &domain : domains) {
      DomainRecord name{};
      const TextPlace place = PlaceOf(domain.name);
      name.hash = static_cast<std::uint32_t>(HashBytes(domain.name) >> 32);
      name.offset = place.offset;
      name.size = static_cast<std::uint16_t>(place.size);
      if (domain.excluded) name.flags |= DOMAIN_EXCLUDED;
      if (domain.any_suffix) name.flags |= DOMAIN_ANY_SUFFIX;
      if (!domain.excluded) head.flags |= DOMAINS_INCLUDE;
      if (domain.any_suffix) head.flags |= DOMAINS_ANY_SUFFIX;
      names.push_back(name);
    }
    std::stable_sort(names.begin(), names.end(),
                     [](const DomainRecord &a, const DomainRecord &b) { return a.hash < b.hash; });
    domains_.push_back(head);
    domains_.insert(domains_.end(), names.begin(), names.end());
    return known->second;
  }

  TextPlace Keep(std::string_view text) {
    const TextPlace place{static_cast<std::uint32_t>(text_.size()),
                          static_cast<std::uint32_t>(text.size())};
    text_ += text;
    return place;
  }

  /// The place of a piece of the current rule's text, or of a copy of what is none.
  TextPlace PlaceOf(std::string_view piece) {
    const std::uintptr_t within = reinterpret_cast<std::uintptr_t>(piece.data()) -
                                  reinterpret_cast<std::uintptr_t>(last_text_.data());
    if (within <= last_text_.size() && piece.size() <= last_text_.size() - within) {
      return {last_place_.offset + static_cast<std::uint32_t>(within),
              static_cast<std::uint32_t>(piece.size())};
    }
    return Keep(piece);
  }

  StringArena arena_;
  std::vector<Rule> rules_;
  std::set<Size> sizes_;
  std::vector<ListRecord> lists_;
  std::vector<RuleRecord> records_;
  std::vector<KeyedRule> entries_;
  std::vector<std::uint32_t> unkeyed_;
  /// Head 0 stands for no list.
  std::vector<DomainRecord> domains_{DomainRecord{}};
  std::unordered_map<std::uint64_t, std::uint32_t> domain_lists_;
  std::string text_;
  std::string_view last_text_;
  TextPlace last_place_{};
  std::uint32_t expressions_ = 0;
  bool has_page_labels_ = false;
};

}  // namespace

Fingerprint FingerprintOfLists(const std::vector<ListText> &lists) {
  std::string all;
  for (const ListText &list : lists) {
    const Fingerprint text = FingerprintOf(list.text);
    all.append(list.name).push_back('\0');
    all.append(reinterpret_cast<const char *>(&list.origin), sizeof list.origin);
    all.append(reinterpret_cast<const char *>(&text), sizeof text);
  }
  return FingerprintOf(all);
}

void VisitLines(std::string_view text, StringArena &arena, const LineVisitor &visit) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  if (text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
  LineParser parser(arena);
  for (std::uint32_t number = 1; !text.empty(); ++number) {
    const std::string_view line = CutPiece(text, '\n');
    visit(number, line, parser.Parse(line));
  }
}

std::string CompileLists(const std::vector<ListText> &lists) {
  Compiler compiler;
  compiler.Read(lists);
  compiler.DropRepeated();
  compiler.ChooseKeys();
  return compiler.Write(FingerprintOfLists(lists));
}

}  // namespace velmora::adblock
