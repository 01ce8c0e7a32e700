// Options, by name:
//
//   conditions   third-party 3p first-party 1p, "~" before them: the opposite
//                domain= from=   a.example|~b.a.example|c.*   the page's host
//                to= denyallow=                               the URL's host
//                method=         get|post, ~get
//                match-case
//   weight       important ("~important": as without it), badfilter
//   types        script image ... (`TYPE_NAMES`), "all"; "~type": all that pages load but that
//   not asked    what is about a page's elements and not about a request
//   replacement  redirect= rewrite= empty mp4: the URL is blocked, nothing put in its place
//   unsupported  what changes requests or pages, or asks for more than a request says
#include "options.h"

#include <algorithm>
#include <array>

#include "host_names.h"
#include "request_types.h"
#include "text.h"

namespace velmora::adblock {
namespace {

enum class Meaning : std::uint8_t {
  kType,
  kNotAsked,
  kThirdParty,
  kFirstParty,
  kPageDomains,
  kUrlDomains,
  kAllButUrlDomains,
  kMethods,
  kMatchCase,
  kImportant,
  kBadFilter,
  kReplacement,
  kUnsupported,
};

struct Option {
  std::string_view name;
  Meaning meaning;
  std::uint16_t types = 0;
};

constexpr Option OTHER_OPTIONS[] = {
    {"all", Meaning::kType, TYPES_LOADED | TYPE_POPUP | TYPE_DOCUMENT},
    {"webrtc", Meaning::kNotAsked},
    {"popunder", Meaning::kNotAsked},
    {"elemhide", Meaning::kNotAsked},
    {"ehide", Meaning::kNotAsked},
    {"generichide", Meaning::kNotAsked},
    {"ghide", Meaning::kNotAsked},
    {"specifichide", Meaning::kNotAsked},
    {"shide", Meaning::kNotAsked},
    {"genericblock", Meaning::kNotAsked},
    {"inline-script", Meaning::kNotAsked},
    {"inline-font", Meaning::kNotAsked},
    {"third-party", Meaning::kThirdParty},
    {"3p", Meaning::kThirdParty},
    {"first-party", Meaning::kFirstParty},
    {"1p", Meaning::kFirstParty},
    {"domain", Meaning::kPageDomains},
    {"from", Meaning::kPageDomains},
    {"to", Meaning::kUrlDomains},
    {"denyallow", Meaning::kAllButUrlDomains},
    {"method", Meaning::kMethods},
    {"match-case", Meaning::kMatchCase},
    {"important", Meaning::kImportant},
    {"badfilter", Meaning::kBadFilter},
    {"redirect", Meaning::kReplacement},
    {"rewrite", Meaning::kReplacement},
    {"empty", Meaning::kReplacement},
    {"mp4", Meaning::kReplacement, TYPE_MEDIA},
    {"redirect-rule", Meaning::kUnsupported},
    {"removeparam", Meaning::kUnsupported},
    {"csp", Meaning::kUnsupported},
    {"replace", Meaning::kUnsupported},
    {"permissions", Meaning::kUnsupported},
    {"urlskip", Meaning::kUnsupported},
    {"uritransform", Meaning::kUnsupported},
    {"header", Meaning::kUnsupported},
    {"ipaddress", Meaning::kUnsupported},
    {"cname", Meaning::kUnsupported},
    {"strict1p", Meaning::kUnsupported},
    {"strict3p", Meaning::kUnsupported},
    {"sitekey", Meaning::kUnsupported},
};

/// All options in the order of their names.
constexpr auto OPTIONS = [] {
  std::array<Option, std::size(OTHER_OPTIONS) + std::size(TYPE_NAMES)> options{};
  auto *next = std::copy(std::begin(OTHER_OPTIONS), std::end(OTHER_OPTIONS), options.begin());
  for (const TypeName &type : TYPE_NAMES) *next++ = {type.name, Meaning::kType, type.type};
  std::sort(options.begin(), options.end(),
            [](const Option &a, const Option &b) { return a.name < b.name; });
  return options;
}();

constexpr std::string_view METHODS[] = {"connect", "delete", "get",  "head",
                                        "options", "patch",  "post", "put"};

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
  const auto *option = std::lower_bound(
      OPTIONS.begin(), OPTIONS.end(), name,
      [](const Option &entry, std::string_view wanted) { return entry.name < wanted; });
  return option == OPTIONS.end() || option->name != name ? nullptr : option;
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
    const bool is_pattern = std::any_of(name.begin(), name.end(), [](char byte) {
      return byte == '*' || byte == '/' || byte == '^';
    });
    if (is_pattern || name.size() > MAX_HOST) return false;
    domain.name = HostSpelling(name, arena);
    domains->push_back(domain);
  }
  if (domains->size() == before) return false;
  std::sort(domains->begin(), domains->end());
  domains->erase(std::unique(domains->begin(), domains->end()), domains->end());
  return true;
}

/// "get|post" or "~get".
bool ReadMethods(std::string_view value, Rule *rule) noexcept {
  std::uint16_t named = 0;
  std::uint16_t excluded = 0;
  while (!value.empty()) {
    std::string_view name = CutPiece(value, '|');
    const bool is_excluded = name.starts_with('~');
    const std::uint16_t method = MethodOfName(name.substr(is_excluded));
    if (method == 0) return false;
    (is_excluded ? excluded : named) |= method;
  }
  if (named == 0) named = METHODS_ALL;
  rule->methods = static_cast<std::uint16_t>(named & ~excluded);
  return rule->methods != 0 && rule->methods != METHODS_ALL;
}

}  // namespace

std::uint16_t MethodOfName(std::string_view name) noexcept {
  const auto *method = std::find_if(std::begin(METHODS), std::end(METHODS),
                                    [&](auto entry) { return base::EqualNoCase(entry, name); });
  if (method == std::end(METHODS)) return 0;
  return static_cast<std::uint16_t>(1U << (method - std::begin(METHODS)));
}

std::size_t FindOptions(std::string_view rule) noexcept {
  for (std::size_t at = rule.find('$'); at != std::string_view::npos; at = rule.find('$', at + 1)) {
    std::string_view options = rule.substr(at + 1);
    if (options.empty()) break;
    if (IsOptionList(options) || FindOption(ReadItem(CutPiece(options, ',')).name)) return at;
  }
  return std::string_view::npos;
}

bool ReadOptions(std::string_view options, StringArena &arena, Rule *rule, OptionProblem *problem) {
  std::uint16_t types = 0;
  std::uint16_t excluded_types = 0;
  bool names_not_asked = false;
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
      case Meaning::kNotAsked:
        names_not_asked = names_not_asked || !item.inverse;
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
      case Meaning::kUrlDomains:
      case Meaning::kAllButUrlDomains: {
        const bool all_but = option->meaning == Meaning::kAllButUrlDomains;
        if (item.inverse || !ReadDomains(item.value, all_but, arena, &rule->url_domains)) {
          return fail(Skip::kOption);
        }
        break;
      }
      case Meaning::kMethods:
        if (item.inverse || !ReadMethods(item.value, rule)) return fail(Skip::kOption);
        break;
      case Meaning::kMatchCase:
        if (!item.inverse) rule->flags |= RULE_MATCH_CASE;
        break;
      case Meaning::kImportant:
        if (!item.inverse) rule->flags |= RULE_IMPORTANT;
        break;
      case Meaning::kBadFilter:
        if (item.inverse) return fail(Skip::kOption);
        rule->flags |= RULE_BAD_FILTER;
        break;
      case Meaning::kReplacement:
        // An exception from a replacement lets the URL be blocked without one.
        if (item.inverse || (rule->flags & RULE_ALLOW)) return fail(Skip::kOption);
        types |= option->types;
        rule->replacement = item.whole;
        break;
      case Meaning::kUnsupported:
        return fail(Skip::kOption);
    }
  }
  if (types == 0 && !names_not_asked) types = TYPES_LOADED;
  rule->types = static_cast<std::uint16_t>(types & ~excluded_types);
  if (rule->types == 0) *problem = {Skip::kNeverAsked, {}};
  return rule->types != 0;
}

}  // namespace velmora::adblock
