// Reads velmora.toml. Each table of the file is a table of keys here, each with what reads its
// value. All problems of a file are found in one go.
#include <algorithm>
#include <iterator>
#include <limits>
#include <system_error>
#include <utility>

#include "base/ascii.h"
#include "host/policy/chosen_categories.h"
#include "host/policy/chosen_preset.h"
#include "host/policy/fetched_lists.h"
#include "host/policy/policy.h"
#include "host/policy/policy_tables.h"
#include "host/policy/policy_values.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

constexpr std::string_view PLUGIN_SETTINGS[] = {SETTING_DATA_HANDLERS, SETTING_DUMP_HTML_ELEMENTS,
                                                SETTING_DUMP_SCRIPT_STRINGS};
constexpr std::uint64_t MOST_HELD_BYTES = 3ULL << 30;
constexpr std::uint64_t MOST_MISREAD_BYTES = 1ULL << 60;

ChosenCategories Categories(Reading &reading, const toml::node &value) {
  ChosenCategories chosen;
  ForEach(reading, value, [&](const toml::node &element) {
    chosen.Add(ParseCategories(TextOrNumber(element), reading.named.site_categories));
  });
  return chosen;
}

void ReadSettings(Reading &reading, const toml::node &value, PluginSettings &settings) {
  const toml::table *const table = value.as_table();
  if (table == nullptr) throw std::invalid_argument("should be a table");
  for (const auto &[name, node] : *table) {
    if (std::ranges::find(PLUGIN_SETTINGS, name.str()) == std::end(PLUGIN_SETTINGS)) {
      reading.Add(name.source(), "unknown setting \"" + std::string(name.str()) +
                                     "\"; the plug-in has: " + Quoted(PLUGIN_SETTINGS));
      continue;
    }
    reading.Try(node, [&, &name = name, &node = node] {
      settings[std::string(name.str())] =
          node.is_boolean() ? (Flag(node) ? "true" : "false") : Text(node);
    });
  }
}

void ReadOptionBlock(const toml::node &value, PolicyChange &change) {
  change.option_block = ParseBytes(Text(value));
  if (!change.option_block->empty() && change.option_block->size() < 8) {
    throw std::invalid_argument("should have 8 bytes at least, or none");
  }
}

// Tables.

PolicyChange &ChangeOf(Policy &policy) {
  return policy.everywhere;
}
PolicyChange &ChangeOf(PolicyRule &rule) {
  return rule.change;
}

// The keys of a change, in whatever holds one.
template <class Target>
constexpr Key<Target> BLOCK = {"block",
                               [](Reading &reading, const toml::node &value, Target &target) {
                                 const ChosenCategories chosen = Categories(reading, value);
                                 ChangeOf(target).block = chosen.filter;
                                 ChangeOf(target).block_sites = chosen.sites;
                               }};
template <class Target>
constexpr Key<Target> ALLOW = {"allow",
                               [](Reading &reading, const toml::node &value, Target &target) {
                                 const ChosenCategories chosen = Categories(reading, value);
                                 ChangeOf(target).allow = chosen.filter;
                                 ChangeOf(target).allow_sites = chosen.sites;
                               }};
template <class Target>
constexpr Key<Target> SETTINGS = {"settings",
                                  [](Reading &reading, const toml::node &value, Target &target) {
                                    ReadSettings(reading, value, ChangeOf(target).settings);
                                  }};
template <class Target>
constexpr Key<Target> OPTION_BLOCK = {"option-block",
                                      [](Reading &, const toml::node &value, Target &target) {
                                        ReadOptionBlock(value, ChangeOf(target));
                                      }};

template <class Target>
constexpr Key<Target> ALLOW_SELF = {"allow-self",
                                    [](Reading &, const toml::node &value, Target &target) {
                                      ChangeOf(target).allows_self = Flag(value);
                                    }};

template <class Target>
constexpr Key<Target> SAFE_SEARCH = {
    "safe-search", [](Reading &, const toml::node &value, Target &target) {
      ChangeOf(target).safe_search = Chosen<SafeSearch>(value, {{"off", SafeSearch::OFF},
                                                                {"moderate", SafeSearch::MODERATE},
                                                                {"strict", SafeSearch::FULL}});
    }};

constexpr Key<Policy> FILTER_TABLE[] = {BLOCK<Policy>,      ALLOW<Policy>,
                                        SETTINGS<Policy>,   OPTION_BLOCK<Policy>,
                                        ALLOW_SELF<Policy>, SAFE_SEARCH<Policy>};

template <class Value>
Value &Made(std::optional<Value> &optional) {
  return optional ? *optional : optional.emplace();
}

void ReadAdLists(Reading &reading, const toml::node &value,
                 std::vector<std::filesystem::path> &lists) {
  ForEach(reading, value, [&](const toml::node &element) {
    const std::filesystem::path path = reading.Path(Text(element));
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
      throw std::invalid_argument(path.string() + ": no such file or folder");
    }
    lists.push_back(path);
  });
}

constexpr Key<AdLibraryOptions> LIST_KEYS[] = {
    {"lists", [](Reading &reading, const toml::node &value,
                 AdLibraryOptions &ads) { ReadAdLists(reading, value, ads.lists); }},
    {"extra-lists", [](Reading &reading, const toml::node &value,
                       AdLibraryOptions &ads) { ReadAdLists(reading, value, ads.extra_lists); }},
    {"rules",
     [](Reading &reading, const toml::node &value, AdLibraryOptions &ads) {
       ForEach(reading, value, [&](const toml::node &element) {
         ads.rules.push_back(Text(element));
         if (ads.rules.back().find_first_of("\r\n") != std::string::npos) {
           throw std::invalid_argument("should be one rule, on one line");
         }
       });
     }},
};

/// The same key of the whole policy's.
template <std::size_t KEY>
constexpr Key<Policy> OF_POLICY = {LIST_KEYS[KEY].name,
                                   [](Reading &reading, const toml::node &value, Policy &policy) {
                                     policy.ads.rules_name = "the policy's rules";
                                     LIST_KEYS[KEY].read(reading, value, policy.ads);
                                   }};

constexpr Key<PolicyRule> RULE_TABLE[] = {
    {"name", [](Reading &, const toml::node &value, PolicyRule &rule) { rule.name = Text(value); }},
    {"sites", [](Reading &reading, const toml::node &value,
                 PolicyRule &rule) { ReadSites(reading, value, Made(rule.sites)); }},
    {"site-lists", [](Reading &reading, const toml::node &value,
                      PolicyRule &rule) { ReadSiteLists(reading, value, Made(rule.sites)); }},
    {"clients", [](Reading &reading, const toml::node &value,
                   PolicyRule &rule) { ReadClients(reading, value, Made(rule.clients)); }},
    {"groups", [](Reading &reading, const toml::node &value,
                  PolicyRule &rule) { ReadGroups(reading, value, Made(rule.groups)); }},
    {"when",
     [](Reading &reading, const toml::node &value, PolicyRule &rule) {
       const auto schedule = std::make_shared<Schedule>();
       ForEach(reading, value, [&](const toml::node &element) { schedule->Add(Text(element)); });
       rule.when = schedule;
     }},
    {"only",
     [](Reading &reading, const toml::node &value, PolicyRule &rule) {
       const ChosenCategories chosen = Categories(reading, value);
       rule.change.only = chosen.filter;
       rule.change.only_sites = chosen.sites;
     }},
    BLOCK<PolicyRule>,
    ALLOW<PolicyRule>,
    SETTINGS<PolicyRule>,
    OPTION_BLOCK<PolicyRule>,
    ALLOW_SELF<PolicyRule>,
    SAFE_SEARCH<PolicyRule>,
    {"ads",
     [](Reading &reading, const toml::node &value, PolicyRule &rule) {
       rule.change.lists = std::make_shared<RuleLists>();
       ReadTable(reading, value, LIST_KEYS, rule.change.lists->options);
     }},
};

constexpr Key<Policy> ALLOW_TABLE[] = {
    {"sites", [](Reading &reading, const toml::node &value,
                 Policy &policy) { ReadSites(reading, value, policy.allowed_sites); }},
    {"site-lists", [](Reading &reading, const toml::node &value,
                      Policy &policy) { ReadSiteLists(reading, value, policy.allowed_sites); }},
    {"clients", [](Reading &reading, const toml::node &value,
                   Policy &policy) { ReadClients(reading, value, policy.allowed_clients); }},
    {"groups", [](Reading &reading, const toml::node &value,
                  Policy &policy) { ReadGroups(reading, value, policy.allowed_groups); }},
};

constexpr Key<Policy> HTTPS_TABLE[] = {
    {"splice", [](Reading &reading, const toml::node &value,
                  Policy &policy) { ReadSites(reading, value, policy.spliced_sites); }},
    {"splice-lists", [](Reading &reading, const toml::node &value,
                        Policy &policy) { ReadSiteLists(reading, value, policy.spliced_sites); }},
};

template <bool ResponseOptions::*FLAG>
constexpr auto READ_FLAG = [](Reading &, const toml::node &value, ResponseOptions &options) {
  options.*FLAG = Flag(value);
};

template <bool PresentationOptions::*FLAG>
constexpr auto READ_PRESENTATION =
    [](Reading &, const toml::node &value, ResponseOptions &options) {
      options.presentation.*FLAG = Flag(value);
    };

constexpr Key<ResponseOptions> RESPONSES_TABLE[] = {
    {"map-types", READ_PRESENTATION<&PresentationOptions::maps_types>},
    {"map-charsets", READ_PRESENTATION<&PresentationOptions::maps_charsets>},
    {"read-page-charset", READ_PRESENTATION<&PresentationOptions::reads_page_charset>},
    {"check-gifs", READ_PRESENTATION<&PresentationOptions::checks_gifs>},
    {"decode", READ_FLAG<&ResponseOptions::decodes>},
    {"gzip-again", READ_FLAG<&ResponseOptions::gzips_again>},
    {"security-policy", READ_FLAG<&ResponseOptions::adds_security_policy>},
};

constexpr std::uint64_t MOST = std::numeric_limits<std::int64_t>::max();

constexpr Key<ResponseOptions> LIMITS_TABLE[] = {
    {"held-bytes",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       options.stream.limits.held_bytes.most =
           static_cast<std::uint32_t>(Size(value, MOST_HELD_BYTES));
     }},
    {"added-bytes",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       options.stream.limits.added_bytes.most =
           static_cast<std::uint32_t>(Size(value, MOST_HELD_BYTES));
     }},
    {"misread-bytes",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       options.stream.limits.misread_bytes.most = Size(value, MOST_MISREAD_BYTES);
     }},
    {"all-held-bytes",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       options.stream.limits.all_held_bytes.most = Size(value, MOST);
     }},
    {"filter-time",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       const auto time = ParseDuration(Text(value));
       if (time > std::chrono::hours(24)) throw std::invalid_argument("should be a day at most");
       options.stream.limits.filter_time.most = time;
     }},
    {"decoded-bytes", [](Reading &, const toml::node &value,
                         ResponseOptions &options) { options.decoding.size = Size(value, MOST); }},
    {"decoded-ratio",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       const auto ratio = value.value_exact<std::int64_t>();
       if (!ratio || *ratio < 1) throw std::invalid_argument("should be a number from 1 on");
       options.decoding.ratio = static_cast<std::uint64_t>(*ratio);
     }},
    {"beyond",
     [](Reading &, const toml::node &value, ResponseOptions &options) {
       const std::string text = Text(value);
       if (text != "pass" && text != "fail") {
         throw std::invalid_argument("should be \"pass\" or \"fail\"");
       }
       options.stream.limits.beyond =
           text == "pass" ? BeyondLimit::PASS_UNFILTERED : BeyondLimit::FAIL;
     }},
};

void ReadListUrls(Reading &reading, const toml::node &value, Policy &policy) {
  ForEach(reading, value, [&](const toml::node &element) {
    const std::string url = Text(element);
    const bool is_fetched =
        base::StartsWithNoCase(url, "http:") || base::StartsWithNoCase(url, "https:");
    if (!is_fetched || HostOfUrl(url).empty()) {
      throw std::invalid_argument("should be a URL that begins with http: or https:");
    }
    policy.list_urls.push_back(url);
  });
}

constexpr Key<Policy> ADS_TABLE[] = {
    {"enabled",
     [](Reading &, const toml::node &value, Policy &policy) { policy.ads.is_used = Flag(value); }},
    {"library", [](Reading &reading, const toml::node &value,
                   Policy &policy) { policy.ads.library = reading.Path(Text(value)); }},
    OF_POLICY<0>,
    OF_POLICY<1>,
    OF_POLICY<2>,
    {"urls", ReadListUrls},
};

/// A time that is told from a day on: what is kept goes a day at a time.
std::chrono::milliseconds Days(const toml::node &value) {
  const auto time = ParseDuration(Text(value));
  if (time < std::chrono::days(1) || time > std::chrono::days(36'500)) {
    throw std::invalid_argument("should be from \"1d\" to \"36500d\"");
  }
  return time;
}

constexpr Key<EventLogOptions> EVENT_LOG_TABLE[] = {
    {"file",
     [](Reading &reading, const toml::node &value, EventLogOptions &log) {
       const std::string file = Text(value);
       if (file.empty()) throw std::invalid_argument("should be a file's name or \"stderr\"");
       log.file = file == "stderr" ? std::filesystem::path() : reading.Path(file);
     }},
    {"queue", [](Reading &, const toml::node &value,
                 EventLogOptions &log) { log.queue_bytes = Size(value, 1ULL << 30); }},
    {"urls",
     [](Reading &, const toml::node &value, EventLogOptions &log) {
       log.urls = Chosen<UrlDetail>(
           value,
           {{"full", UrlDetail::FULL}, {"site", UrlDetail::SITE}, {"none", UrlDetail::NONE}});
     }},
    {"clients",
     [](Reading &, const toml::node &value, EventLogOptions &log) {
       log.clients = Chosen<ClientDetail>(value, {{"full", ClientDetail::FULL},
                                                  {"network", ClientDetail::NETWORK},
                                                  {"none", ClientDetail::NONE}});
     }},
    {"counters",
     [](Reading &, const toml::node &value, EventLogOptions &log) {
       log.counters = ParseDuration(Text(value));
       if (log.counters < std::chrono::milliseconds(100)) {
         throw std::invalid_argument("should be \"100ms\" at least");
       }
     }},
    {"leave-out", [](Reading &reading, const toml::node &value,
                     EventLogOptions &log) { ReadClients(reading, value, log.left_out); }},
    {"store", [](Reading &reading, const toml::node &value,
                 EventLogOptions &log) { log.store = reading.Path(Text(value)); }},
    {"keep-events", [](Reading &, const toml::node &value,
                       EventLogOptions &log) { log.keep_events = Days(value); }},
    {"keep-sums",
     [](Reading &, const toml::node &value, EventLogOptions &log) { log.keep_sums = Days(value); }},
};

void ReadRules(Reading &reading, const toml::node &value, Policy &policy) {
  ForEachTable(reading, value, "[[rule]]", [&](const toml::node &element) {
    PolicyRule rule;
    rule.line = element.source().begin.line;
    rule.name = "rule " + std::to_string(policy.rules.size() + 1);
    ReadTable(reading, element, RULE_TABLE, rule);
    if (rule.change.lists) rule.change.lists->options.rules_name = "the rules of " + rule.name;
    policy.rules.push_back(rule);
    if (!rule.sites && !rule.clients && !rule.groups && !rule.when) {
      throw std::invalid_argument(
          "a rule needs \"sites\", \"site-lists\", \"clients\", \"groups\" or \"when\"");
    }
  });
}

constexpr Key<Policy> TIME_TABLE[] = {
    {"zone",
     [](Reading &, const toml::node &value, Policy &policy) {
       policy.clock = std::make_shared<const LocalClock>(Text(value));
     }},
};

bool DecidesBySite(const PolicyChange &change) noexcept {
  return change.block_sites.any() || change.only_sites.any() ||
         change.safe_search.value_or(SafeSearch::OFF) != SafeSearch::OFF;
}

constexpr Key<Policy> STATE_TABLE[] = {
    {"folder", [](Reading &reading, const toml::node &value,
                  Policy &policy) { policy.state_folder = reading.Path(Text(value)); }},
};

/// What gives names comes first.
constexpr Key<Policy> POLICY_TABLE[] = {
    {"group", ReadGroupTables},
    {"category", ReadSiteCategories},
    {"time", [](Reading &reading, const toml::node &value,
                Policy &policy) { ReadTable(reading, value, TIME_TABLE, policy); }},
    {"filter", [](Reading &reading, const toml::node &value,
                  Policy &policy) { ReadTable(reading, value, FILTER_TABLE, policy); }},
    {"rule", ReadRules},
    {"allow", [](Reading &reading, const toml::node &value,
                 Policy &policy) { ReadTable(reading, value, ALLOW_TABLE, policy); }},
    {"responses",
     [](Reading &reading, const toml::node &value, Policy &policy) {
       ReadTable(reading, value, RESPONSES_TABLE, policy.responses);
     }},
    {"limits", [](Reading &reading, const toml::node &value,
                  Policy &policy) { ReadTable(reading, value, LIMITS_TABLE, policy.responses); }},
    {"ads", [](Reading &reading, const toml::node &value,
               Policy &policy) { ReadTable(reading, value, ADS_TABLE, policy); }},
    {"event-log",
     [](Reading &reading, const toml::node &value, Policy &policy) {
       ReadTable(reading, value, EVENT_LOG_TABLE, policy.event_log.emplace());
     }},
    {"https", [](Reading &reading, const toml::node &value,
                 Policy &policy) { ReadTable(reading, value, HTTPS_TABLE, policy); }},
    {"state", [](Reading &reading, const toml::node &value,
                 Policy &policy) { ReadTable(reading, value, STATE_TABLE, policy); }},
    {"expect", ReadExpectations},
};

}  // namespace

Policy ReadPolicy(const std::filesystem::path &file) {
  Policy policy;
  Reading reading{.folder = std::filesystem::absolute(file).parent_path(), .named = policy};
  policy.state_folder = reading.folder;
  try {
    const toml::table document = toml::parse(ReadWhole(file));
    ReadTable(reading, document, POLICY_TABLE, policy);
  } catch (const toml::parse_error &error) {
    reading.Add(error.source(), std::string(error.description()));
  } catch (const std::invalid_argument &fault) {
    reading.problems.push_back({.message = fault.what()});
  }
  if (!reading.problems.empty()) {
    std::ranges::stable_sort(reading.problems, {}, [](const PolicyProblem &problem) {
      return std::pair(problem.line, problem.column);
    });
    throw PolicyError(file, std::move(reading.problems));
  }
  policy.left_out = std::move(reading.left_out);
  policy.exceptions_file = policy.state_folder / file.filename().replace_extension(".exceptions");
  policy.decides_by_site = DecidesBySite(policy.everywhere) ||
                           std::ranges::any_of(policy.rules, DecidesBySite, &PolicyRule::change);
  UseFetchedLists(policy);
  try {
    UseChosenPreset(policy);
  } catch (const std::exception &fault) {
    throw PolicyError(ChosenPresetFile(policy), {{.message = fault.what()}});
  }
  return policy;
}

}  // namespace velmora::host
