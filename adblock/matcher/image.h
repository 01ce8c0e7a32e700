// The compiled form of a set of lists: one block of bytes, the same in memory and in a file.
//
//   ImageHeader
//   sections, each an array of one of the records below, or of numbers or bytes:
//     lists      the lists that went in, with what was read in them
//     rules      the rules, in the order of the lists
//     origins    where each rule stands
//     entries    the index: which rules a key finds, in the order of the keys' buckets
//     buckets    where each bucket begins in `entries`, with marks for the keys in it; and one more
//     filter     one bit for each place that a key can have: is there such a key?
//     popups     the same of the keys of rules that are for windows; there are few
//     unkeyed    rules that no key finds and that are tried at every question
//     domains    lists of domain names: a head, then its names in the order of their hashes
//     sizes      sizes of advertisements: width << 16 | height, ascending
//     text       the bytes of all strings
//
// Keys are 64-bit hashes of tokens, of the URL's host, of the page's host (and of both hosts'
// parents) and of the page host's labels, each kind varied so that they do not meet. Many rules
// share a key, and many URLs have it; so an entry is found by a lookup key, which is the key
// with up to two bytes that the pattern has after it. A question looks its keys up in the filter,
// those that are there, alone and with two bytes of the URL, in the buckets. Some bits choose
// the bit of a filter and the bucket; those below are compared.
//
// Everything in an image may be wrong: it can come from a file. `Image::Open` checks the header
// and that the sections lie within the bytes; after that an index or a string's place is held
// against its section each time that it is used, and what lies outside is empty. So a damaged or
// hostile image can give wrong answers, but no read leaves its bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "hash.h"
#include "line_parser.h"

namespace velmora::adblock {

struct TextPlace {
  std::uint32_t offset;
  std::uint32_t size;
};

/// How a list came to be used.
enum class Origin : std::uint32_t {
  kEnvironment,  // named by the environment
  kChosen,       // chosen by the host in the place of the system's
  kInstalled,    // found among the system's packages
  kBuiltIn,
  kExtra,  // chosen by the host beside all others
  kRules,  // the host's own rules
};

/// What was read in one list.
struct ListCounts {
  std::uint32_t lines;
  std::uint32_t comments;
  /// Rules in force.
  std::uint32_t rules;
  /// Rules that an earlier line says already, and rules that a `badfilter` line took out of force.
  std::uint32_t repeated;
  std::uint32_t cancelled;
  /// Lines that add or forget sizes.
  std::uint32_t sizes;
  std::uint32_t skipped[SKIP_COUNT];
};

struct ListRecord {
  TextPlace name;
  Origin origin;
  ListCounts counts;
};

/// What a question looks at.
struct RuleRecord {
  /// The pattern's place in `text`.
  std::uint32_t pattern;
  std::uint16_t pattern_size;
  std::uint16_t flags;
  std::uint16_t types;
  std::uint16_t methods;
  /// Regular expressions: the number of the expression. Others: where the key's token begins in
  /// the pattern, or `NO_OFFSET`.
  std::uint32_t offset;
  /// Heads of lists in `domains`; 0 for none.
  std::uint32_t page_domains;
  std::uint32_t url_domains;
};
inline constexpr std::uint32_t NO_OFFSET = ~0U;

/// Where a rule stands; only wanted when it has decided.
struct OriginRecord {
  std::uint32_t text;
  std::uint16_t text_size;
  std::uint16_t list;
  std::uint32_t line;
};

/// Found by a token or a host at some place of the URL, an entry is passed over when the bytes
/// around that place are not those that the pattern has there.
struct IndexEntry {
  /// The first `span` bytes of this word are looked for after the place.
  std::uint64_t after;
  std::uint32_t rule;
  /// `ComparedBits` of the lookup key.
  std::uint16_t key;
  /// Zero: any.
  std::uint8_t before;
  std::uint8_t span;
};

/// The lookup key of an entry whose pattern has fewer than two certain bytes after the key.
inline std::uint64_t ShortLookupKey(std::uint64_t key) noexcept {
  return key;
}
/// That of the others: `key` with the first two bytes of `after`.
inline std::uint64_t LongLookupKey(std::uint64_t key, std::uint64_t after) noexcept {
  return key + ((after & FIRST_BYTES[2]) + 1) * hash_detail::ODD_B;
}

constexpr std::uint16_t ComparedBits(std::uint64_t lookup_key) noexcept {
  return static_cast<std::uint16_t>(lookup_key >> 24);
}

/// A bucket: one bit for each lookup key in it in the low bits, and above them its first entry's
/// place.
inline constexpr unsigned BUCKET_MARKS = 8;
inline constexpr std::uint32_t MAX_ENTRIES = (1U << (32 - BUCKET_MARKS)) - 1;

constexpr std::uint32_t BucketPlace(std::uint32_t head) noexcept {
  return head >> BUCKET_MARKS;
}
/// Which of the low bits, by bits of the lookup key that do not choose its bucket.
constexpr unsigned BucketMark(std::uint64_t lookup_key) noexcept {
  return static_cast<unsigned>(lookup_key >> 21) % BUCKET_MARKS;
}

struct DomainRecord {
  std::uint32_t hash;
  /// In the head: how many names follow.
  std::uint32_t offset;
  std::uint16_t size;
  std::uint16_t flags;
};
inline constexpr std::uint16_t DOMAIN_EXCLUDED = 1;
inline constexpr std::uint16_t DOMAIN_ANY_SUFFIX = 2;
/// In the head: some name is not excluded; some name has any suffix.
inline constexpr std::uint16_t DOMAINS_INCLUDE = 4;
inline constexpr std::uint16_t DOMAINS_ANY_SUFFIX = 8;

struct Section {
  std::uint32_t offset;
  std::uint32_t count;
};

struct ImageHeader {
  char magic[8];
  /// `ImageVersion` of the library that made it.
  std::uint64_t version;
  std::uint64_t byte_order;
  /// Of all bytes after this field.
  Fingerprint content;
  /// Of the lists that went in.
  Fingerprint source;
  std::uint32_t bucket_bits;
  std::uint32_t filter_bits;
  std::uint32_t expressions;
  /// Are there keys of the kind `KEY_PAGE_LABEL`?
  std::uint16_t has_page_labels;
  /// Of the rules that no key finds, the types that any of them is for.
  std::uint16_t unkeyed_types;
  Section lists, rules, origins, entries, buckets, filter, popups, unkeyed, domains, sizes, text;
};

/// Of the filter for windows: 8 KiB, which stay in the nearest cache.
inline constexpr std::uint32_t POPUP_FILTER_BITS = 16;
inline constexpr char IMAGE_MAGIC[8] = {'v', 'x', 'r', 'u', 'l', 'e', 's', '\n'};
inline constexpr std::uint64_t IMAGE_BYTE_ORDER = 0x0102030405060708;
/// Follows from the sources of the matcher and from the list of public suffixes: all that decides
/// what lists are compiled to.
std::uint64_t ImageVersion() noexcept;
inline constexpr std::size_t IMAGE_UNFINGERPRINTED =
    offsetof(ImageHeader, content) + sizeof(Fingerprint);

// The kinds of keys.
inline constexpr std::uint64_t KEY_TOKEN = 0;
inline constexpr std::uint64_t KEY_URL_HOST = 0xA24BAED4963EE407U;
inline constexpr std::uint64_t KEY_PAGE_HOST = 0x9FB21C651E98DF25U;
inline constexpr std::uint64_t KEY_PAGE_LABEL = 0xC3A5C85C97CB3127U;

/// Bytes that somebody keeps: a vector or a mapped file.
struct SharedBytes {
  std::string_view bytes;
  std::shared_ptr<const void> keeper;
};

/// An array within an image that answers an empty record for an index that it does not have.
template <typename Record>
class Table {
 public:
  Table() = default;
  Table(const char *data, std::uint32_t count) noexcept : data_(data), count_(count) {}

  std::uint32_t Count() const noexcept { return count_; }
  Record operator[](std::size_t index) const noexcept {
    Record record{};
    if (index < count_) std::memcpy(&record, data_ + index * sizeof record, sizeof record);
    return record;
  }
  /// Calls `visit` with each record of [first, last), which are all there.
  template <typename Visit>
  void ForEach(std::size_t first, std::size_t last, Visit visit) const noexcept {
    for (; first < last; ++first) visit(hash_detail::Load<Record>(data_ + first * sizeof(Record)));
  }
  /// The record, if there is one, will be wanted soon.
  void Prefetch(std::size_t index) const noexcept {
    const auto place = reinterpret_cast<std::uintptr_t>(data_) + index * sizeof(Record);
    // No pointer may be beyond the table, an index may.
    __builtin_prefetch(reinterpret_cast<const void *>(place));  // NOLINT(performance-no-int-to-ptr)
  }

 private:
  const char *data_ = nullptr;
  std::uint32_t count_ = 0;
};

/// Which of the places 0 to `mask` is a key's. The bits of a key below those that are used here
/// tell keys with the same place apart.
constexpr std::uint64_t PlaceOfKey(std::uint64_t key, std::uint64_t mask) noexcept {
  return key >> 44 & mask;
}
/// As many as there are places at most: a filter of so many bits stays in a near cache, and the
/// rules of the usual lists fill a tenth of it.
inline constexpr std::uint32_t MAX_PLACE_BITS = 20;
/// A filter has whole words.
inline constexpr std::uint32_t MIN_PLACE_BITS = 6;

/// One bit for each place that a key can have, shared by all keys that have it.
class KeyFilter {
 public:
  KeyFilter() = default;
  /// `words` has all 2^`bits` bits: no key leads outside.
  KeyFilter(const char *words, std::uint32_t bits) noexcept
      : words_(words), mask_((std::uint64_t{1} << bits) - 1) {}

  /// 1 for every key that is there and for few others, else 0.
  std::size_t Has(std::uint64_t key) const noexcept {
    const std::uint64_t bit = PlaceOfKey(key, mask_);
    return LoadWord(words_ + bit / 64 * sizeof bit) >> (bit % 64) & 1;
  }

 private:
  const char *words_ = nullptr;
  std::uint64_t mask_ = 0;
};

/// Where the entries of the lookup keys are. There is a bucket for every key, so none is outside.
class Buckets {
 public:
  Buckets() = default;
  /// `heads` has 2^`bits`, and one more.
  Buckets(const char *heads, std::uint32_t bits) noexcept
      : heads_(heads), mask_((std::uint64_t{1} << bits) - 1) {}

  std::uint64_t NumberOf(std::uint64_t lookup_key) const noexcept {
    return PlaceOfKey(lookup_key, mask_);
  }
  std::uint32_t Head(std::uint64_t bucket) const noexcept {
    return hash_detail::Load<std::uint32_t>(heads_ + bucket * sizeof(std::uint32_t));
  }
  /// False where no entry has the lookup key.
  bool MayHave(std::uint64_t lookup_key) const noexcept {
    return Head(NumberOf(lookup_key)) >> BucketMark(lookup_key) & 1;
  }
  /// Where the bucket's entries begin and end. They may lie outside of the entries.
  std::uint32_t First(std::uint64_t bucket) const noexcept { return BucketPlace(Head(bucket)); }
  std::uint32_t Last(std::uint64_t bucket) const noexcept { return First(bucket + 1); }

 private:
  const char *heads_ = nullptr;
  std::uint64_t mask_ = 0;
};

class Image {
 public:
  /// Nothing when the bytes are no image of this version and machine, or damaged.
  static std::optional<Image> Open(SharedBytes bytes);

  const ImageHeader &Header() const noexcept { return header_; }
  std::string_view Bytes() const noexcept { return bytes_.bytes; }

  std::string_view Text(std::uint32_t offset, std::uint32_t size) const noexcept {
    const bool inside = offset <= text_.size() && size <= text_.size() - offset;
    return inside ? text_.substr(offset, size) : std::string_view();
  }
  std::string_view Text(TextPlace place) const noexcept { return Text(place.offset, place.size); }

  Table<ListRecord> lists;
  Table<RuleRecord> rules;
  Table<OriginRecord> origins;
  Table<IndexEntry> entries;
  Buckets buckets;
  KeyFilter filter;
  KeyFilter popups;
  Table<std::uint32_t> unkeyed;
  Table<DomainRecord> domains;
  Table<std::uint32_t> sizes;

 private:
  SharedBytes bytes_;
  ImageHeader header_{};
  std::string_view text_;
};

}  // namespace velmora::adblock
