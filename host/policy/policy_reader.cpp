// Reads velmora.toml. Each table of the file is a table of keys here, each with what reads its
// value. All problems of a file are found in one go.
#define TOML_HEADER_ONLY 1
#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <system_error>
#include <toml++/toml.h>
#include <utility>

#include "base/ascii.h"
#include "host/policy/chosen_preset.h"
#include "host/policy/fetched_lists.h"
#include "host/policy/policy.h"
#include "host/policy/policy_values.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

constexpr std::string_view PLUGIN_SETTINGS[] = {SETTING_DATA_HANDLERS, SETTING_DUMP_HTML_ELEMENTS,
                                                SETTING_DUMP_SCRIPT_STRINGS};
constexpr std::uint64_t MOST_HELD_BYTES = 3ULL << 30;
constexpr std::uint64_t MOST_MISREAD_BYTES = 1ULL << 60;

/// The file's bytes; `name` stands in front of what goes wrong.
std::string ReadWhole(const std::filesystem::path &file, const std::string &name = {}) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  if (!stream || (stream.peek() != EOF && !(text << stream.rdbuf())) || stream.bad()) {
    const std::error_code error(errno == 0 ? EIO : errno, std::generic_category());
    throw std::invalid_argument(name + "cannot be read: " + error.message());
  }
  return std::move(text).str();
}

/// The names for a message: "a", "b", "c".
template <class Names>
std::string Quoted(const Names &names) {
  std::string list;
  for (const std::string_view name : names) {
    list += (list.empty() ? "\"" : ", \"") + std::string(name) + "\"";
  }
  return list;
}

/// Where the file lies, and what is wrong with it so far.
struct Reading {
  std::filesystem::path folder;
  std::vector<PolicyProblem> problems{};

  void Add(const toml::source_region &where, std::string message) {
    problems.push_back({where.begin.line, where.begin.column, std::move(message)});
  }
  /// Does something with a value; what it throws is a problem there.
  template <class Function>
  void Try(const toml::node &value, Function function) {
    try {
      function();
    } catch (const std::invalid_argument &fault) {
      Add(value.source(), fault.what());
    }
  }
  std::filesystem::path Path(std::string_view text) const { return folder / text; }
};

template <class Target>
struct Key {
  std::string_view name;
  void (*read)(Reading &reading, const toml::node &value, Target &target);
};

template <class Target, std::size_t COUNT>
void ReadTable(Reading &reading, const toml::node &value, const Key<Target> (&keys)[COUNT],
               Target &target) {
  const toml::table *const table = value.as_table();
  if (table == nullptr) throw std::invalid_argument("should be a table");
  for (const auto &[name, node] : *table) {
    const auto key = std::ranges::find(keys, name.str(), &Key<Target>::name);
    if (key != std::end(keys)) {
      reading.Try(node, [&, &node = node] { key->read(reading, node, target); });
      continue;
    }
    std::array<std::string_view, COUNT> known;
    std::ranges::transform(keys, known.begin(), &Key<Target>::name);
    reading.Add(name.source(), "unknown key \"" + std::string(name.str()) +
                                   "\"; what can stand here: " + Quoted(known));
  }
}

/// Calls a function with each element of an array, or with the value itself.
template <class Function>
void ForEach(Reading &reading, const toml::node &value, Function function) {
  if (const toml::array *const array = value.as_array()) {
    for (const toml::node &element : *array) reading.Try(element, [&] { function(element); });
  } else {
    function(value);
  }
}

// Values. Each throws `std::invalid_argument` for a value of another kind.

bool Flag(const toml::node &value) {
  const auto flag = value.value_exact<bool>();
  if (!flag) throw std::invalid_argument("should be true or false");
  return *flag;
}

std::string Text(const toml::node &value) {
  const auto text = value.value_exact<std::string>();
  if (!text) throw std::invalid_argument("should be a text in quotes");
  if (text->find('\0') != text->npos) throw std::invalid_argument("holds a NUL character");
  return *text;
}

/// A text or a number that could stand in its place.
std::string TextOrNumber(const toml::node &value) {
  const auto number = value.value_exact<std::int64_t>();
  return number ? std::to_string(*number) : Text(value);
}

std::uint64_t Size(const toml::node &value, std::uint64_t most) {
  const std::uint64_t size = ParseSize(TextOrNumber(value));
  if (size > most) throw std::invalid_argument("should be " + std::to_string(most) + " at most");
  return size;
}

/// One of some words.
template <class Choice, std::size_t COUNT>
Choice Chosen(const toml::node &value, const std::pair<std::string_view, Choice> (&words)[COUNT]) {
  const std::string text = Text(value);
  std::vector<std::string_view> names;
  for (const auto &[word, choice] : words) {
    if (word == text) return choice;
    names.push_back(word);
  }
  throw std::invalid_argument("should be one of " + Quoted(names));
}

CategorySet Categories(Reading &reading, const toml::node &value) {
  CategorySet set;
  ForEach(reading, value, [&](const toml::node &element) {
    set = set.With(CategorySet::Parse(TextOrNumber(element)));
  });
  return set;
}

void ReadSites(Reading &reading, const toml::node &value, HostSet &sites) {
  ForEach(reading, value, [&](const toml::node &element) { sites.Add(Text(element)); });
}

/// Files with a name a line; "#" begins a comment.
void ReadSiteLists(Reading &reading, const toml::node &value, HostSet &sites) {
  ForEach(reading, value, [&](const toml::node &element) {
    const std::string name = Text(element);
    std::istringstream lines(ReadWhole(reading.Path(name), name + ": "));
    std::size_t number = 1;
    for (std::string line; std::getline(lines, line); ++number) {
      const std::string_view site =
          base::TrimWebSpace(std::string_view(line).substr(0, line.find('#')));
      try {
        if (!site.empty()) sites.Add(site);
      } catch (const std::invalid_argument &fault) {
        throw std::invalid_argument(name + ":" + std::to_string(number) + ": " + fault.what());
      }
    }
  });
}

void ReadClients(Reading &reading, const toml::node &value, std::vector<ClientNetwork> &clients) {
  ForEach(reading, value, [&](const toml::node &element) {
    clients.push_back(ClientNetwork::Parse(Text(element)));
  });
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
                                 ChangeOf(target).block = Categories(reading, value);
                               }};
template <class Target>
constexpr Key<Target> ALLOW = {"allow",
                               [](Reading &reading, const toml::node &value, Target &target) {
                                 ChangeOf(target).allow = Categories(reading, value);
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

constexpr Key<Policy> FILTER_TABLE[] = {BLOCK<Policy>, ALLOW<Policy>, SETTINGS<Policy>,
                                        OPTION_BLOCK<Policy>, ALLOW_SELF<Policy>};

template <class Value>
Value &Made(std::optional<Value> &optional) {
  return optional ? *optional : optional.emplace();
}

constexpr Key<PolicyRule> RULE_TABLE[] = {
    {"name", [](Reading &, const toml::node &value, PolicyRule &rule) { rule.name = Text(value); }},
    {"sites", [](Reading &reading, const toml::node &value,
                 PolicyRule &rule) { ReadSites(reading, value, Made(rule.sites)); }},
    {"site-lists", [](Reading &reading, const toml::node &value,
                      PolicyRule &rule) { ReadSiteLists(reading, value, Made(rule.sites)); }},
    {"clients", [](Reading &reading, const toml::node &value,
                   PolicyRule &rule) { ReadClients(reading, value, Made(rule.clients)); }},
    {"only", [](Reading &reading, const toml::node &value,
                PolicyRule &rule) { rule.change.only = Categories(reading, value); }},
    BLOCK<PolicyRule>,
    ALLOW<PolicyRule>,
    SETTINGS<PolicyRule>,
    OPTION_BLOCK<PolicyRule>,
    ALLOW_SELF<PolicyRule>,
};

constexpr Key<Policy> ALLOW_TABLE[] = {
    {"sites", [](Reading &reading, const toml::node &value,
                 Policy &policy) { ReadSites(reading, value, policy.allowed_sites); }},
    {"site-lists", [](Reading &reading, const toml::node &value,
                      Policy &policy) { ReadSiteLists(reading, value, policy.allowed_sites); }},
    {"clients", [](Reading &reading, const toml::node &value,
                   Policy &policy) { ReadClients(reading, value, policy.allowed_clients); }},
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
    {"lists", [](Reading &reading, const toml::node &value,
                 Policy &policy) { ReadAdLists(reading, value, policy.ads.lists); }},
    {"extra-lists", [](Reading &reading, const toml::node &value,
                       Policy &policy) { ReadAdLists(reading, value, policy.ads.extra_lists); }},
    {"urls", ReadListUrls},
    {"rules",
     [](Reading &reading, const toml::node &value, Policy &policy) {
       AdLibraryOptions &ads = policy.ads;
       ads.rules_name = "the policy's rules";
       ForEach(reading, value, [&](const toml::node &element) {
         ads.rules.push_back(Text(element));
         if (ads.rules.back().find_first_of("\r\n") != std::string::npos) {
           throw std::invalid_argument("should be one rule, on one line");
         }
       });
     }},
};

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
};

void ReadRules(Reading &reading, const toml::node &value, Policy &policy) {
  const toml::array *const array = value.as_array();
  if (array == nullptr) throw std::invalid_argument("should be written [[rule]]");
  for (const toml::node &element : *array) {
    PolicyRule rule;
    rule.line = element.source().begin.line;
    rule.name = "rule " + std::to_string(policy.rules.size() + 1);
    reading.Try(element, [&] {
      ReadTable(reading, element, RULE_TABLE, rule);
      if (!rule.sites && !rule.clients) {
        throw std::invalid_argument("a rule needs \"sites\", \"site-lists\" or \"clients\"");
      }
    });
    policy.rules.push_back(std::move(rule));
  }
}

constexpr Key<Policy> STATE_TABLE[] = {
    {"folder", [](Reading &reading, const toml::node &value,
                  Policy &policy) { policy.state_folder = reading.Path(Text(value)); }},
};

constexpr Key<Policy> POLICY_TABLE[] = {
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
};

}  // namespace

Policy ReadPolicy(const std::filesystem::path &file) {
  Reading reading{.folder = std::filesystem::absolute(file).parent_path()};
  Policy policy;
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
  policy.exceptions_file = policy.state_folder / file.filename().replace_extension(".exceptions");
  UseFetchedLists(policy);
  try {
    UseChosenPreset(policy);
  } catch (const std::exception &fault) {
    throw PolicyError(ChosenPresetFile(policy), {{.message = fault.what()}});
  }
  return policy;
}

}  // namespace velmora::host
