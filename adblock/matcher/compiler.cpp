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

/// Tokens that stand in many URLs, the most common first: a rule is better found by a token
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
/// place is the same. There are many, so it is small.
struct ReadRule {
  ReadRule(const Rule &rule, std::uint16_t in_list, std::uint32_t in_line)
      : text(rule.text.data()),
        pattern(rule.pattern.data()),
        text_size(static_cast<std::uint16_t>(rule.text.size())),
        pattern_size(static_cast<std::uint16_t>(rule.pattern.size())),
        line(in_line),
        list(in_list),
        flags(rule.flags),
        types(rule.types),
        methods(rule.methods) {}

  std::string_view Text() const noexcept { return {text, text_size}; }
  std::string_view Pattern() const noexcept { return {pattern, pattern_size}; }

  const char *text;
  const char *pattern;
  std::uint16_t text_size;
  std::uint16_t pattern_size;
  std::uint32_t line;
  std::uint16_t list;
  std::uint16_t flags;
  std::uint16_t types;
  std::uint16_t methods;
  /// Numbers of domain lists, and of what is put in the place of what is blocked; 0 for none.
  std::uint32_t page_domains = 0;
  std::uint32_t url_domains = 0;
  std::uint32_t replacement = 0;
};

bool SaysTheSame(const ReadRule &a, const ReadRule &b) noexcept {
  constexpr auto WHAT = static_cast<std::uint16_t>(~RULE_BAD_FILTER);
  return a.Pattern() == b.Pattern() && ((a.flags ^ b.flags) & WHAT) == 0 && a.types == b.types &&
         a.methods == b.methods && a.page_domains == b.page_domains &&
         a.url_domains == b.url_domains && a.replacement == b.replacement;
}

/// Of what `SaysTheSame` compares, most of it.
std::uint64_t HashOf(const ReadRule &rule) noexcept {
  const std::uint64_t conditions = rule.types | std::uint64_t{rule.page_domains} << 16;
  return HashAll(rule.Pattern()) ^ HashWord(conditions + rule.url_domains);
}

/// The lists of domain names that rules have, each once.
class DomainLists {
 public:
  /// The number of a list; equal lists have the same.
  std::uint32_t NumberOf(const std::vector<DomainName> &names) {
    if (names.empty()) return 0;
    std::uint64_t hash = names.size();
    for (const DomainName &name : names) {
      hash =
          (hash ^ HashBytes(name.name)) * 31 + std::uint64_t{2} * name.excluded + name.any_suffix;
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
        span(static_cast<std::uint8_t>(piece.after.size())) {
    if (piece.offset != ANYWHERE) offset = static_cast<std::uint32_t>(piece.offset);
    std::memcpy(&after, piece.after.data(), piece.after.size());
  }

  std::uint64_t Lookup() const {
    return span < 2 ? ShortLookupKey(hash) : LongLookupKey(hash, after);
  }

  std::uint64_t hash;
  std::uint32_t offset = NO_OFFSET;
  /// See `IndexEntry`.
  std::uint64_t after = 0;
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
      runs_ = LiteralRunsOf(rule.Pattern());
      AddTokensOfExpression(runs_, &pieces_);
    } else {
      std::string_view pattern = rule.Pattern();
      if (rule.flags & RULE_MATCH_CASE) {
        lower_.resize(pattern.size());
        std::transform(pattern.begin(), pattern.end(), lower_.begin(), base::ToLowerAscii);
        pattern = lower_;
      }
      AddTokensOfPattern(pattern, rule.flags, &pieces_);
      if (const auto host = HostOfPattern(pattern, rule.flags)) {
        keys_.emplace_back(*host, KEY_URL_HOST);
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
      : shift_(64 - std::clamp(static_cast<int>(std::bit_width(rules)) + 1, 8, 20)),
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

/// What a `KeyFilter` reads.
class FilterWords {
 public:
  void SetBits(std::uint32_t bits) { words_.resize(std::size_t{1} << (bits - 6)); }
  void Add(std::uint64_t key) {
    const std::uint64_t bit = PlaceOfKey(key, 64 * words_.size() - 1);
    words_[bit / 64] |= std::uint64_t{1} << (bit % 64);
  }
  const std::vector<std::uint64_t> &Words() const { return words_; }

 private:
  std::vector<std::uint64_t> words_;
};

class Compiler {
 public:
  void Read(const std::vector<ListText> &lists) {
    sizes_.insert(STANDARD_SIZES.begin(), STANDARD_SIZES.end());
    std::size_t line_count = 0;
    std::size_t text_size = 0;
    for (const ListText &list : lists) {
      line_count +=
          1 + static_cast<std::size_t>(std::count(list.text.begin(), list.text.end(), '\n'));
      text_size += list.text.size();
    }
    rules_.reserve(line_count);
    text_.reserve(text_size);
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
    bucket_bits_ = std::clamp(static_cast<unsigned>(std::bit_width(rules_.size())), MIN_PLACE_BITS,
                              MAX_PLACE_BITS);
    filter_.SetBits(FilterBits());
    popups_.SetBits(POPUP_FILTER_BITS);
    for (const ReadRule &rule : rules_) AddRule(rule, census);
    if (entries_.size() > MAX_ENTRIES) throw std::length_error("too many rules");
  }

  std::string Write(const Fingerprint &source) {
    ImageHeader header{};
    std::memcpy(header.magic, IMAGE_MAGIC, sizeof IMAGE_MAGIC);
    header.version = ImageVersion();
    header.byte_order = IMAGE_BYTE_ORDER;
    header.source = source;
    header.bucket_bits = bucket_bits_;
    header.filter_bits = FilterBits();
    header.expressions = expressions_;
    header.has_page_labels = has_page_labels_;
    header.unkeyed_types = unkeyed_types_;

    std::vector<std::uint32_t> buckets = MakeBuckets();
    const std::vector<IndexEntry> entries = InOrderOfBuckets(&buckets);
    std::vector<std::uint32_t> sizes;
    for (const Size &size : sizes_) sizes.push_back(std::uint32_t{size.width} << 16 | size.height);

    std::string image(sizeof header, '\0');
    const auto bytes_of = [](const auto &records) {
      return records.size() * sizeof records[0] + 64;
    };
    image.reserve(sizeof header + bytes_of(lists_) + bytes_of(records_) + bytes_of(origins_) +
                  bytes_of(entries) + bytes_of(buckets) + bytes_of(filter_.Words()) +
                  bytes_of(popups_.Words()) + bytes_of(unkeyed_) + bytes_of(domains_) +
                  bytes_of(sizes) + bytes_of(text_));
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
    header.entries = section(entries);
    header.buckets = section(buckets);
    header.filter = section(filter_.Words());
    header.popups = section(popups_.Words());
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
  struct KeyedEntry {
    std::uint64_t lookup;
    IndexEntry entry;
  };

  unsigned FilterBits() const { return std::min(bucket_bits_ + 3, MAX_PLACE_BITS); }

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
            ReadRule &read = rules_.emplace_back(rule, list, line);
            read.page_domains = domain_lists_.NumberOf(rule.page_domains);
            read.url_domains = domain_lists_.NumberOf(rule.url_domains);
            read.replacement = ReplacementNumber(rule.replacement);
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
    if (rule.text != last_text_.data()) {
      last_text_ = rule.Text();
      last_place_ = Keep(last_text_);
    }
    RuleRecord record{};
    const TextPlace pattern = PlaceOf(rule.Pattern());
    record.pattern = pattern.offset;
    record.pattern_size = static_cast<std::uint16_t>(pattern.size);
    record.flags = rule.flags;
    record.types = rule.types;
    record.methods = rule.methods;
    record.page_domains = HeadOf(rule.page_domains);
    record.url_domains = HeadOf(rule.url_domains);
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
      for (HostKeys hosts : {HostKeysOf(domain_lists_.Names(rule.page_domains), KEY_PAGE_HOST),
                             HostKeysOf(domain_lists_.Names(rule.url_domains), KEY_URL_HOST)}) {
        if (hosts.keys.empty() || hosts.weight >= best_weight) continue;
        best_weight = hosts.weight;
        best_hosts = std::move(hosts);
      }
    }
    if (!best_hosts.keys.empty()) {
      for (const Key &key : best_hosts.keys) AddEntry(key, number, rule.types);
      return NO_OFFSET;
    }
    if (!best) {
      unkeyed_.push_back(number);
      unkeyed_types_ |= rule.types;
      return NO_OFFSET;
    }
    AddEntry(*best, number, rule.types);
    return best->offset;
  }

  void AddEntry(const Key &key, std::uint32_t rule, std::uint16_t types) {
    const std::uint64_t lookup = key.Lookup();
    entries_.push_back({lookup, {key.after, rule, ComparedBits(lookup), key.before, key.span}});
    filter_.Add(key.hash);
    if (types & TYPE_POPUP) popups_.Add(key.hash);
  }

  std::size_t BucketCount() const { return std::size_t{1} << bucket_bits_; }
  std::uint64_t BucketOf(const KeyedEntry &keyed) const {
    return PlaceOfKey(keyed.lookup, BucketCount() - 1);
  }

  /// Where each bucket ends.
  std::vector<std::uint32_t> MakeBuckets() const {
    std::vector<std::uint32_t> buckets(BucketCount() + 1);
    for (const KeyedEntry &keyed : entries_) ++buckets[BucketOf(keyed)];
    for (std::size_t at = 1; at < buckets.size(); ++at) buckets[at] += buckets[at - 1];
    return buckets;
  }

  /// The entries in the order of their buckets, within one in the order of the rules; turns each
  /// bucket's end into its start, and marks it.
  std::vector<IndexEntry> InOrderOfBuckets(std::vector<std::uint32_t> *buckets) const {
    std::vector<IndexEntry> ordered(entries_.size());
    for (std::size_t at = entries_.size(); at-- > 0;) {
      ordered[--(*buckets)[BucketOf(entries_[at])]] = entries_[at].entry;
    }
    for (std::uint32_t &place : *buckets) place <<= BUCKET_MARKS;
    for (const KeyedEntry &keyed : entries_) {
      (*buckets)[BucketOf(keyed)] |= std::uint32_t{1} << BucketMark(keyed.lookup);
    }
    return ordered;
  }

  std::uint32_t ReplacementNumber(std::string_view replacement) {
    if (replacement.empty()) return 0;
    const auto number = static_cast<std::uint32_t>(replacements_.size());
    const std::uint32_t known = replacement_table_.FindOrAdd(
        HashBytes(replacement), number,
        [&](std::uint32_t other) { return replacements_[other] == replacement; });
    if (known == number) replacements_.push_back(replacement);
    return known;
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
  std::vector<std::string_view> replacements_{std::string_view()};
  OpenTable replacement_table_;
  std::vector<ReadRule> rules_;
  std::set<Size> sizes_;
  std::vector<ListRecord> lists_;
  std::vector<RuleRecord> records_;
  std::vector<OriginRecord> origins_;
  unsigned bucket_bits_ = 0;
  std::vector<KeyedEntry> entries_;
  FilterWords filter_;
  FilterWords popups_;
  std::vector<std::uint32_t> unkeyed_;
  std::uint16_t unkeyed_types_ = 0;
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
