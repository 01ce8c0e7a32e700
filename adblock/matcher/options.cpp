// Options, by name:
//
//   conditions   third-party 3p first-party 1p, "~" before them: the opposite
//                domain= from=   a.example|~b.a.example|c.*   the page's host
//                to= denyallow=                               the address's host
//                match-case
//   weight       important, badfilter
//   types        what is asked for: script image object subdocument media other, and popup;
//                what is not: stylesheet xmlhttprequest document ... "~type": all but that
//   replacement  redirect= rewrite= empty mp4: the address is blocked, nothing put in its place
//   unsupported  what changes requests or pages, or asks for more than an address
#include "options.h"

#include <algorithm>

#include "text.h"

namespace velmora::adblock {
namespace {

enum class Meaning : std::uint8_t {
  kType,
  kThirdParty,
  kFirstParty,
  kPageDomains,
  kAddressDomains,
  kAllButAddressDomains,
  kMatchCase,
  kImportant,
  kBadFilter,
  kReplacement,
  kUnsupported,
};

// Request types as bits; those that belong to the pages themselves and not to what they load take
// part only when they are named.
constexpr std::uint32_t TYPE_SCRIPT = 1U << 0;
constexpr std::uint32_t TYPE_IMAGE = 1U << 1;
constexpr std::uint32_t TYPE_OBJECT = 1U << 2;
constexpr std::uint32_t TYPE_SUBDOCUMENT = 1U << 3;
constexpr std::uint32_t TYPE_MEDIA = 1U << 4;
constexpr std::uint32_t TYPE_OTHER = 1U << 5;
constexpr std::uint32_t TYPE_POPUP = 1U << 6;
constexpr std::uint32_t TYPE_NEVER_ASKED = 1U << 7;
constexpr std::uint32_t TYPES_ELEMENT =
    TYPE_SCRIPT | TYPE_IMAGE | TYPE_OBJECT | TYPE_SUBDOCUMENT | TYPE_MEDIA | TYPE_OTHER;

struct Option {
  std::string_view name;
  Meaning meaning;
  std::uint32_t types = 0;
};

constexpr Option OPTIONS[] = {
    {"script", Meaning::kType, TYPE_SCRIPT},
    {"image", Meaning::kType, TYPE_IMAGE},
    {"object", Meaning::kType, TYPE_OBJECT},
    {"subdocument", Meaning::kType, TYPE_SUBDOCUMENT},
    {"frame", Meaning::kType, TYPE_SUBDOCUMENT},
    {"media", Meaning::kType, TYPE_MEDIA},
    {"other", Meaning::kType, TYPE_OTHER},
    {"popup", Meaning::kType, TYPE_POPUP},
    {"all", Meaning::kType, TYPES_ELEMENT | TYPE_POPUP | TYPE_NEVER_ASKED},
    {"stylesheet", Meaning::kType, TYPE_NEVER_ASKED},
    {"css", Meaning::kType, TYPE_NEVER_ASKED},
    {"xmlhttprequest", Meaning::kType, TYPE_NEVER_ASKED},
    {"xhr", Meaning::kType, TYPE_NEVER_ASKED},
    {"font", Meaning::kType, TYPE_NEVER_ASKED},
    {"ping", Meaning::kType, TYPE_NEVER_ASKED},
    {"beacon", Meaning::kType, TYPE_NEVER_ASKED},
    {"websocket", Meaning::kType, TYPE_NEVER_ASKED},
    {"webrtc", Meaning::kType, TYPE_NEVER_ASKED},
    {"object-subrequest", Meaning::kType, TYPE_NEVER_ASKED},
    {"document", Meaning::kType, TYPE_NEVER_ASKED},
    {"doc", Meaning::kType, TYPE_NEVER_ASKED},
    {"popunder", Meaning::kType, TYPE_NEVER_ASKED},
    {"elemhide", Meaning::kType, TYPE_NEVER_ASKED},
    {"ehide", Meaning::kType, TYPE_NEVER_ASKED},
    {"generichide", Meaning::kType, TYPE_NEVER_ASKED},
    {"ghide", Meaning::kType, TYPE_NEVER_ASKED},
    {"specifichide", Meaning::kType, TYPE_NEVER_ASKED},
    {"shide", Meaning::kType, TYPE_NEVER_ASKED},
    {"genericblock", Meaning::kType, TYPE_NEVER_ASKED},
    {"inline-script", Meaning::kType, TYPE_NEVER_ASKED},
    {"inline-font", Meaning::kType, TYPE_NEVER_ASKED},
    {"third-party", Meaning::kThirdParty},
    {"3p", Meaning::kThirdParty},
    {"first-party", Meaning::kFirstParty},
    {"1p", Meaning::kFirstParty},
    {"domain", Meaning::kPageDomains},
    {"from", Meaning::kPageDomains},
    {"to", Meaning::kAddressDomains},
    {"denyallow", Meaning::kAllButAddressDomains},
    {"match-case", Meaning::kMatchCase},
    {"important", Meaning::kImportant},
    {"badfilter", Meaning::kBadFilter},
    {"redirect", Meaning::kReplacement},
    {"rewrite", Meaning::kReplacement},
    {"empty", Meaning::kReplacement},
    {"mp4", Meaning::kReplacement},
    {"redirect-rule", Meaning::kUnsupported},
    {"removeparam", Meaning::kUnsupported},
    {"csp", Meaning::kUnsupported},
    {"replace", Meaning::kUnsupported},
    {"permissions", Meaning::kUnsupported},
    {"urlskip", Meaning::kUnsupported},
    {"uritransform", Meaning::kUnsupported},
    {"header", Meaning::kUnsupported},
    {"method", Meaning::kUnsupported},
    {"ipaddress", Meaning::kUnsupported},
    {"cname", Meaning::kUnsupported},
    {"strict1p", Meaning::kUnsupported},
    {"strict3p", Meaning::kUnsupported},
    {"sitekey", Meaning::kUnsupported},
};

struct Item {
  std::string_view whole;
  std::string_view name;
  std::string_view value;
  bool inverse;
  bool has_value;
};

Item ReadItem(std::string_view text) noexcept {
  Item item{text, text, {}, false, false};
  if (item.name.starts_with('~')) {
    item.inverse = true;
    item.name.remove_prefix(1);
  }
  const std::size_t equals = item.name.find('=');
  if (equals != std::string_view::npos) {
    item.has_value = true;
    item.value = item.name.substr(equals + 1);
    item.name = item.name.substr(0, equals);
  }
  return item;
}

bool IsName(std::string_view name) noexcept {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char byte) {
    return byte == '-' || byte == '_' || IsByte(byte, BYTE_TOKEN);
  });
}

const Option *FindOption(std::string_view name) noexcept {
  const auto option = std::find_if(std::begin(OPTIONS), std::end(OPTIONS),
                                   [&](const Option &entry) { return entry.name == name; });
  return option == std::end(OPTIONS) ? nullptr : option;
}

bool IsOptionList(std::string_view text) noexcept {
  do {
    if (!IsName(ReadItem(CutPiece(text, ',')).name)) return false;
  } while (!text.empty());
  return true;
}

/// "a.example|~b.a.example|c.*" into `domains`; `all_excluded`: as if "~" stood before every name.
bool ReadDomains(std::string_view value, bool all_excluded, StringArena &arena,
                 std::vector<DomainName> *domains) {
  const std::size_t before = domains->size();
  while (!value.empty()) {
    std::string_view name = CutPiece(value, '|');
    DomainName domain{{}, all_excluded, false};
    if (name.starts_with('~')) {
      domain.excluded = true;
      name.remove_prefix(1);
    }
    if (name.ends_with(".*")) {
      domain.any_suffix = true;
      name.remove_suffix(2);
    }
    if (name.empty()) continue;
    if (name.find_first_of("*/^") != std::string_view::npos || name.size() > 255) return false;
    if (HasUpper(name)) {
      std::string lower(name);
      std::transform(lower.begin(), lower.end(), lower.begin(), base::ToLowerAscii);
      name = arena.Keep(std::move(lower));
    }
    domain.name = name;
    domains->push_back(domain);
  }
  return domains->size() > before;
}

}  // namespace

std::size_t FindOptions(std::string_view rule) noexcept {
  for (std::size_t at = rule.find('$'); at != std::string_view::npos; at = rule.find('$', at + 1)) {
    std::string_view options = rule.substr(at + 1);
    if (options.empty()) break;
    if (IsOptionList(options) || FindOption(ReadItem(CutPiece(options, ',')).name)) return at;
  }
  return std::string_view::npos;
}

bool ReadOptions(std::string_view options, StringArena &arena, Rule *rule, OptionProblem *problem) {
  std::uint32_t types = 0;
  std::uint32_t excluded_types = 0;
  while (!options.empty()) {
    const Item item = ReadItem(CutPiece(options, ','));
    // Underscores only keep options apart.
    if (item.whole.find_first_not_of('_') == std::string_view::npos) continue;
    const auto fail = [&](Skip skip) {
      *problem = {skip, item.whole};
      return false;
    };
    const Option *option = FindOption(item.name);
    if (!option) return fail(IsName(item.name) ? Skip::kOption : Skip::kUnreadable);
    switch (option->meaning) {
      case Meaning::kType:
        (item.inverse ? excluded_types : types) |= option->types;
        break;
      case Meaning::kThirdParty:
        rule->flags |= item.inverse ? RULE_FIRST_PARTY : RULE_THIRD_PARTY;
        break;
      case Meaning::kFirstParty:
        rule->flags |= item.inverse ? RULE_THIRD_PARTY : RULE_FIRST_PARTY;
        break;
      case Meaning::kPageDomains:
        if (item.inverse || !ReadDomains(item.value, false, arena, &rule->page_domains)) {
          return fail(Skip::kOption);
        }
        break;
      case Meaning::kAddressDomains:
      case Meaning::kAllButAddressDomains: {
        const bool all_but = option->meaning == Meaning::kAllButAddressDomains;
        if (item.inverse || !ReadDomains(item.value, all_but, arena, &rule->address_domains)) {
          return fail(Skip::kOption);
        }
        break;
      }
      case Meaning::kMatchCase:
        if (!item.inverse) rule->flags |= RULE_MATCH_CASE;
        break;
      case Meaning::kImportant:
        if (item.inverse) return fail(Skip::kOption);
        rule->flags |= RULE_IMPORTANT;
        break;
      case Meaning::kBadFilter:
        if (item.inverse) return fail(Skip::kOption);
        rule->flags |= RULE_BAD_FILTER;
        break;
      case Meaning::kReplacement:
        // An exception from a replacement lets the address be blocked without one.
        if (item.inverse || (rule->flags & RULE_ALLOW)) return fail(Skip::kOption);
        break;
      case Meaning::kUnsupported:
        return fail(Skip::kOption);
    }
  }
  if (types == 0) types = TYPES_ELEMENT;
  types &= ~excluded_types;
  if (types & TYPES_ELEMENT) rule->flags |= RULE_ELEMENT;
  if (types & TYPE_POPUP) rule->flags |= RULE_POPUP;
  if (!(rule->flags & (RULE_ELEMENT | RULE_POPUP))) {
    *problem = {Skip::kNeverAsked, {}};
    return false;
  }
  return true;
}

}  // namespace velmora::adblock
