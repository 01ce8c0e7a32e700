// From lists to an image, in four steps: read all lines; drop rules that are said twice or
// cancelled; choose for each rule the key that the fewest other rules have; write the sections.
#include "compiler.h"

#include <algorithm>
#include <bit>
#include <set>
#include <stdexcept>

#include "open_table.h"
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

/// A rule of the lists, with its conditions as numbers: two rules say the same if all of it but the
/// place is the same.
struct ReadRule {
  std::string_view text;
  std::string_view pattern;
  std::string_view replacement;
  std::uint32_t line;
  std::uint16_t list;
  std::uint16_t flags;
  std::uint16_t types;
  std::uint16_t methods;
  /// Numbers of domain lists; 0 for none.
  std::uint32_t page_domains;
  std::uint32_t address_domains;
};

bool SaysTheSame(const ReadRule &a, const ReadRule &b) noexcept {
  constexpr auto WHAT = static_cast<std::uint16_t>(~RULE_BAD_FILTER);
  return a.pattern == b.pattern && a.replacement == b.replacement &&
         ((a.flags ^ b.flags) & WHAT) == 0 && a.types == b.types && a.methods == b.methods &&
         a.page_domains == b.page_domains && a.address_domains == b.address_domains;
}

/// Of what `SaysTheSame` compares, most of it.
std::uint64_t HashOf(const ReadRule &rule) noexcept {
  const std::uint64_t conditions = rule.types | std::uint64_t{rule.page_domains} << 16;
  return FingerprintOf(rule.pattern).words[0] ^ HashWord(conditions + rule.address_domains);
}

/// The lists of domain names that rules have, each once.
class DomainLists {
 public:
  /// The number of a list; equal lists have the same.
  std::uint32_t NumberOf(const std::vector<DomainName> &names) {
    if (names.empty()) return 0;
    std::uint64_t hash = names.size();
    for (const DomainName &name : names) {
      hash = (hash ^ HashBytes(name.name)) * 31 + 2U * name.excluded + name.any_suffix;
    }
    const auto number = static_cast<std::uint32_t>(lists_.size());
    const std::uint32_t known = table_.FindOrAdd(HashWord(hash), number, [&](std::uint32_t other) {
      const std::span<const DomainName> its = Names(other);
      return std::equal(names.begin(), names.end(), its.begin(), its.end());
    });
    if (known != number) return known;
    lists_.push_back(
        {static_cast<std::uint32_t>(names_.size()), static_cast<std::uint32_t>(names.size()), 0});
    names_.insert(names_.end(), names.begin(), names.end());
    return number;
  }

  std::span<const DomainName> Names(std::uint32_t number) const {
    return {names_.data() + lists_[number].first, lists_[number].count};
  }
  /// Where the list's head is in the image; 0 until that is set.
  std::uint32_t &Head(std::uint32_t number) { return lists_[number].head; }

 private:
  struct List {
    std::uint32_t first;
    std::uint32_t count;
    std::uint32_t head;
  };
  /// List 0 stands for none.
  std::vector<List> lists_{List{}};
  std::vector<DomainName> names_;
  OpenTable table_;
};

struct Key {
  explicit Key(std::uint64_t of) : hash(of) {}
  /// The key of a piece of a pattern in lower case.
  Key(const PatternPiece &piece, std::uint64_t kind)
      : hash(HashBytes(piece.text) ^ kind),
        before(static_cast<std::uint8_t>(piece.before)),
        span(static_cast<std::uint8_t>(piece.behind.size())) {
    if (piece.offset != ANYWHERE) offset = static_cast<std::uint32_t>(piece.offset);
    std::memcpy(&behind, piece.behind.data(), piece.behind.size());
  }

  std::uint64_t Lookup() const {
    return span < 2 ? ShortLookupKey(hash) : LongLookupKey(hash, behind);
  }

  std::uint64_t hash;
  std::uint32_t offset = NO_OFFSET;
  /// See `IndexEntry`.
  std::uint64_t behind = 0;
  std::uint8_t before = 0;
  std::uint8_t span = 0;
};

/// The keys of a rule, each of which finds it alone.
class SingleKeys {
 public:
  const std::vector<Key> &Of(const ReadRule &rule) {
    keys_.clear();
    pieces_.clear();
    if (rule.flags & RULE_EXPRESSION) {
      runs_ = LiteralRunsOf(rule.pattern);
      AddTokensOfExpression(runs_, &pieces_);
    } else {
      std::string_view pattern = rule.pattern;
      if (rule.flags & RULE_MATCH_CASE) {
        lower_.resize(pattern.size());
        std::transform(pattern.begin(), pattern.end(), lower_.begin(), base::ToLowerAscii);
        pattern = lower_;
      }
      AddTokensOfPattern(pattern, rule.flags, &pieces_);
      if (const auto host = HostOfPattern(pattern, rule.flags)) {
        keys_.emplace_back(*host, KEY_ADDRESS_HOST);
      }
    }
    for (const PatternPiece &token : pieces_) keys_.emplace_back(token, KEY_TOKEN);
    return keys_;
  }

 private:
  std::vector<Key> keys_;
  PatternPieces pieces_;
  std::vector<LiteralRun> runs_;
  std::string lower_;
};

/// Keys that find a rule only together, as each of the hosts that it is for has its own.
struct HostKeys {
  std::vector<Key> keys{};
  std::uint32_t weight = HOSTS_WEIGHT;
};

/// None where the rule is for all hosts but some.
HostKeys HostKeysOf(std::span<const DomainName> domains, std::uint64_t kind) {
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

  /// Of rules that say the same the first stays, unless one says with `badfilter` that none does.
  void DropRepeated() {
    std::vector<bool> is_dropped(rules_.size());
    OpenTable seen(rules_.size());
    const auto same_as = [&](std::uint32_t number) {
      return [this, number](std::uint32_t other) {
        return SaysTheSame(rules_[number], rules_[other]);
      };
    };
    for (std::uint32_t number = 0; number < rules_.size(); ++number) {
      const ReadRule &rule = rules_[number];
      if (rule.flags & RULE_BAD_FILTER) continue;
      is_dropped[number] = seen.FindOrAdd(HashOf(rule), number, same_as(number)) != number;
      ListCounts &counts = lists_[rule.list].counts;
      ++(is_dropped[number] ? counts.repeated : counts.rules);
    }
    for (std::uint32_t number = 0; number < rules_.size(); ++number) {
      if (!(rules_[number].flags & RULE_BAD_FILTER)) continue;
      is_dropped[number] = true;
      const auto cancelled = seen.Find(HashOf(rules_[number]), same_as(number));
      if (!cancelled || is_dropped[*cancelled]) continue;
      is_dropped[*cancelled] = true;
      ListCounts &counts = lists_[rules_[*cancelled].list].counts;
      ++counts.cancelled;
      --counts.rules;
    }
    std::uint32_t number = 0;
    std::erase_if(rules_, [&](const ReadRule &) { return is_dropped[number++]; });
  }

  void ChooseKeys() {
    KeyCensus census(rules_.size());
    for (const ReadRule &rule : rules_) {
      for (const Key &key : single_keys_.Of(rule)) census.Add(key);
    }
    records_.reserve(rules_.size());
    origins_.reserve(rules_.size());
    entries_.reserve(rules_.size() + rules_.size() / 4);
    for (const ReadRule &rule : rules_) AddRule(rule, census);
    if (entries_.size() > MAX_ENTRIES) throw std::length_error("too many rules");
  }

  std::string Write(const Fingerprint &source) {
    ImageHeader header{};
    std::memcpy(header.magic, IMAGE_MAGIC, sizeof IMAGE_MAGIC);
    header.version = ImageVersion();
    header.byte_order = IMAGE_BYTE_ORDER;
    header.source = source;
    header.bucket_bits = std::max(3U, static_cast<unsigned>(std::bit_width(entries_.size())));
    header.filter_bits = header.bucket_bits + 3;
    header.expressions = expressions_;
    header.has_page_labels = has_page_labels_;

    std::vector<std::uint64_t> filter(std::size_t{1} << (header.filter_bits - 6));
    for (const KeyedRule &entry : entries_) {
      const std::uint64_t bit = entry.key.hash >> (64 - header.filter_bits);
      filter[bit / 64] |= std::uint64_t{1} << (bit % 64);
    }
    const Index index = MakeIndex(header.bucket_bits);
    std::vector<std::uint32_t> sizes;
    for (const Size &size : sizes_) sizes.push_back(std::uint32_t{size.width} << 16 | size.height);

    std::string image(sizeof header, '\0');
    image.reserve(text_.size() + records_.size() * 64 + index.entries.size() * 32);
    const auto section = [&](const auto &records) {
      image.resize((image.size() + 63) / 64 * 64);
      const Section place{static_cast<std::uint32_t>(image.size()),
                          static_cast<std::uint32_t>(records.size())};
      image.append(reinterpret_cast<const char *>(records.data()),
                   records.size() * sizeof records[0]);
      return place;
    };
    header.lists = section(lists_);
    header.rules = section(records_);
    header.origins = section(origins_);
    header.entries = section(index.entries);
    header.buckets = section(index.buckets);
    header.filter = section(filter);
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
  struct Index {
    std::vector<IndexEntry> entries;
    std::vector<std::uint32_t> buckets;
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
            rules_.push_back({rule.text, rule.pattern, rule.replacement, line, list, rule.flags,
                              rule.types, rule.methods, domain_lists_.NumberOf(rule.page_domains),
                              domain_lists_.NumberOf(rule.address_domains)});
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

  void AddRule(const ReadRule &rule, const KeyCensus &census) {
    const auto number = static_cast<std::uint32_t>(records_.size());
    // Rules of one line share its text.
    if (rule.text.data() != last_text_.data()) {
      last_text_ = rule.text;
      last_place_ = Keep(rule.text);
    }
    RuleRecord record{};
    const TextPlace pattern = PlaceOf(rule.pattern);
    record.pattern = pattern.offset;
    record.pattern_size = static_cast<std::uint16_t>(pattern.size);
    record.flags = rule.flags;
    record.types = rule.types;
    record.methods = rule.methods;
    record.page_domains = HeadOf(rule.page_domains);
    record.address_domains = HeadOf(rule.address_domains);
    record.offset = AddKeys(rule, number, census);
    if (rule.flags & RULE_EXPRESSION) record.offset = expressions_++;
    records_.push_back(record);
    origins_.push_back(
        {last_place_.offset, static_cast<std::uint16_t>(last_place_.size), rule.list, rule.line});
  }

  /// Enters the rule into the index; where the chosen key's token begins in its pattern.
  std::uint32_t AddKeys(const ReadRule &rule, std::uint32_t number, const KeyCensus &census) {
    const Key *best = nullptr;
    std::uint32_t best_weight = ~0U;
    for (const Key &key : single_keys_.Of(rule)) {
      if (census.Count(key) >= best_weight) continue;
      best_weight = census.Count(key);
      best = &key;
    }
    HostKeys best_hosts;
    if (best_weight > HOSTS_WEIGHT) {
      for (HostKeys hosts :
           {HostKeysOf(domain_lists_.Names(rule.page_domains), KEY_PAGE_HOST),
            HostKeysOf(domain_lists_.Names(rule.address_domains), KEY_ADDRESS_HOST)}) {
        if (hosts.keys.empty() || hosts.weight >= best_weight) continue;
        best_weight = hosts.weight;
        best_hosts = std::move(hosts);
      }
    }
    if (!best_hosts.keys.empty()) {
      for (const Key &key : best_hosts.keys) entries_.push_back({key, number, key.Lookup()});
      return NO_OFFSET;
    }
    if (!best) {
      unkeyed_.push_back(number);
      return NO_OFFSET;
    }
    entries_.push_back({*best, number, best->Lookup()});
    return best->offset;
  }

  /// The entries in the order of their buckets, within one in the order of the rules.
  Index MakeIndex(unsigned bucket_bits) const {
    const auto bucket_of = [=](const KeyedRule &entry) {
      return entry.lookup >> (64 - bucket_bits);
    };
    Index index;
    index.buckets.resize((std::size_t{1} << bucket_bits) + 1);
    for (const KeyedRule &entry : entries_) ++index.buckets[bucket_of(entry) + 1];
    for (std::size_t at = 1; at < index.buckets.size(); ++at) {
      index.buckets[at] += index.buckets[at - 1];
    }
    index.entries.resize(entries_.size());
    std::vector<std::uint32_t> next = index.buckets;
    for (const KeyedRule &entry : entries_) {
      index.entries[next[bucket_of(entry)]++] = {entry.key.behind, entry.rule,
                                                 ComparedBits(entry.lookup), entry.key.before,
                                                 entry.key.span};
      index.buckets[bucket_of(entry)] |= BucketMark(entry.lookup);
    }
    return index;
  }

  std::uint32_t HeadOf(std::uint32_t list) {
    if (list == 0 || domain_lists_.Head(list) != 0) return domain_lists_.Head(list);
    const auto place = static_cast<std::uint32_t>(domains_.size());
    const std::span<const DomainName> domains = domain_lists_.Names(list);
    domains_.emplace_back();
    domains_[place].offset = static_cast<std::uint32_t>(domains.size());
    for (const DomainName &domain : domains) {
      DomainRecord name{};
      const TextPlace text = PlaceOf(domain.name);
      name.hash = static_cast<std::uint32_t>(HashBytes(domain.name) >> 32);
      name.offset = text.offset;
      name.size = static_cast<std::uint16_t>(text.size);
      if (domain.excluded) name.flags |= DOMAIN_EXCLUDED;
      if (domain.any_suffix) name.flags |= DOMAIN_ANY_SUFFIX;
      if (!domain.excluded) domains_[place].flags |= DOMAINS_INCLUDE;
      if (domain.any_suffix) domains_[place].flags |= DOMAINS_ANY_SUFFIX;
      has_page_labels_ = has_page_labels_ || domain.any_suffix;
      domains_.push_back(name);
    }
    std::stable_sort(domains_.begin() + place + 1, domains_.end(),
                     [](const DomainRecord &a, const DomainRecord &b) { return a.hash < b.hash; });
    return domain_lists_.Head(list) = place;
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
  DomainLists domain_lists_;
  SingleKeys single_keys_;
  std::vector<ReadRule> rules_;
  std::set<Size> sizes_;
  std::vector<ListRecord> lists_;
  std::vector<RuleRecord> records_;
  std::vector<OriginRecord> origins_;
  std::vector<KeyedRule> entries_;
  std::vector<std::uint32_t> unkeyed_;
  /// Head 0 stands for no list.
  std::vector<DomainRecord> domains_{DomainRecord{}};
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
