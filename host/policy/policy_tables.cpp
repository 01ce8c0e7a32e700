#include "host/policy/policy_tables.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <vexlar/requests.h>

#include "base/ascii.h"
#include "base/nearest_word.h"
#include "host/policy/policy_values.h"
#include "host/web/url.h"

namespace velmora::host {
namespace {

/// Calls `visit` with the sites of "name # comment", or of "0.0.0.0 name name" in a hosts file.
template <class Visit>
void ForEachSite(std::string_view line, Visit visit) {
  constexpr std::string_view BLANKS = " \t";
  line = base::TrimWebSpace(line.substr(0, line.find('#')));
  const std::size_t blank = line.find_first_of(BLANKS);
  if (blank == line.npos || !ClientAddress::Parse(line.substr(0, blank))) {
    if (!line.empty()) visit(line);
    return;
  }
  for (line.remove_prefix(blank); !line.empty();) {
    line.remove_prefix(std::min(line.find_first_not_of(BLANKS), line.size()));
    const std::string_view site = line.substr(0, line.find_first_of(BLANKS));
    if (!site.empty()) visit(site);
    line.remove_prefix(site.size());
  }
}

/// Adds the sites of a list, and to `left_out` what is none: lists come from others, and one line
/// that is wrong says nothing about the rest.
void AddSites(std::istream &lines, const std::string &name, HostSet &sites,
              std::vector<std::string> &left_out) {
  constexpr std::size_t MOST_TOLD = 5;
  std::size_t number = 0;
  std::size_t faults = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    ForEachSite(line, [&](std::string_view site) {
      try {
        sites.Add(site);
      } catch (const std::invalid_argument &fault) {
        if (++faults > MOST_TOLD) return;
        left_out.push_back(name + ":" + std::to_string(number) + ": " + fault.what() +
                           "; left out");
      }
    });
  }
  if (faults > MOST_TOLD) {
    left_out.push_back(name + ": " + std::to_string(faults - MOST_TOLD) + " more are left out");
  }
}

/// Names are told in lists with commas between them, and in one word to the proxy.
std::string Name(const toml::node &value) {
  std::string name = Text(value);
  if (name.empty() || name.find_first_of(", \t") != name.npos) {
    throw std::invalid_argument("should be a name without blanks and commas");
  }
  return name;
}

/// "unknown WHAT NAME, did you mean ...?"
template <class Named>
std::string Unknown(const char *what, const std::string &name,
                    const std::vector<std::shared_ptr<const Named>> &known) {
  std::vector<std::string_view> names;
  names.reserve(known.size());
  for (const auto &entry : known) names.push_back(entry->name);
  const std::string_view nearest = base::NearestWord(name, names);
  std::string text = std::string("unknown ") + what + " \"" + name + "\"";
  if (!nearest.empty()) text.append("; did you mean \"").append(nearest).append("\"?");
  return text;
}

constexpr Key<ClientGroup> GROUP_TABLE[] = {
    {"name",
     [](Reading &, const toml::node &value, ClientGroup &group) { group.name = Name(value); }},
    {"clients", [](Reading &reading, const toml::node &value,
                   ClientGroup &group) { ReadClients(reading, value, group.clients); }},
    {"users",
     [](Reading &reading, const toml::node &value, ClientGroup &group) {
       ForEach(reading, value,
               [&](const toml::node &element) { group.users.push_back(Text(element)); });
     }},
};

constexpr Key<SiteCategory> CATEGORY_KEYS[] = {
    {"name",
     [](Reading &, const toml::node &value, SiteCategory &category) {
       category.name = Name(value);
       std::ranges::transform(category.name, category.name.begin(), base::ToLowerAscii);
       bool is_taken = true;
       try {
         CategorySet::Parse(category.name);
       } catch (const std::invalid_argument &) {
         is_taken = false;
       }
       if (is_taken) {
         throw std::invalid_argument("\"" + category.name + "\" is a category of the filter");
       }
     }},
    {"sites", [](Reading &reading, const toml::node &value,
                 SiteCategory &category) { ReadSites(reading, value, category.sites); }},
    {"site-lists", [](Reading &reading, const toml::node &value,
                      SiteCategory &category) { ReadSiteLists(reading, value, category.sites); }},
};

/// Reads tables that each give a name.
template <class Named, std::size_t COUNT>
void ReadNamed(Reading &reading, const toml::node &value, const char *how,
               const Key<Named> (&keys)[COUNT], std::vector<std::shared_ptr<const Named>> &all) {
  ForEachTable(reading, value, how, [&](const toml::node &element) {
    auto named = std::make_shared<Named>();
    named->line = element.source().begin.line;
    ReadTable(reading, element, keys, *named);
    if (!element.as_table()->contains("name")) throw std::invalid_argument("needs a \"name\"");
    if (std::ranges::any_of(all, [&](const auto &other) { return other->name == named->name; })) {
      throw std::invalid_argument("there is a \"" + named->name + "\" already");
    }
    all.push_back(std::move(named));
  });
}

template <std::string Expectation::*TEXT>
constexpr auto READ_TEXT = [](Reading &, const toml::node &value, Expectation &expectation) {
  expectation.*TEXT = Text(value);
};

constexpr Key<Expectation> EXPECT_TABLE[] = {
    {"url",
     [](Reading &, const toml::node &value, Expectation &expectation) {
       expectation.url = Text(value);
       if (HostOfUrl(expectation.url).empty()) throw std::invalid_argument("should be a URL");
     }},
    {"client",
     [](Reading &, const toml::node &value, Expectation &expectation) {
       expectation.client = Text(value);
       if (!ClientAddress::Parse(expectation.client)) {
         throw std::invalid_argument("should be an IP address");
       }
     }},
    {"user", READ_TEXT<&Expectation::user>},
    {"groups",
     [](Reading &reading, const toml::node &value, Expectation &expectation) {
       std::vector<std::shared_ptr<const ClientGroup>> groups;
       ReadGroups(reading, value, groups);
       for (const auto &group : groups) expectation.groups += group->name + ",";
     }},
    {"at",
     [](Reading &, const toml::node &value, Expectation &expectation) {
       expectation.at = Text(value);
       expectation.minute = LocalClock::Parse(expectation.at);
     }},
    {"type",
     [](Reading &, const toml::node &value, Expectation &expectation) {
       expectation.type = Text(value);
       std::vector<std::string_view> names{TUNNEL_TYPE};
       for (const VexlarTypeName &entry : VEXLAR_TYPE_NAMES) names.emplace_back(entry.name);
       if (std::ranges::find(names, expectation.type) == names.end()) {
         throw std::invalid_argument("should be one of " + Quoted(names));
       }
     }},
    {"page", READ_TEXT<&Expectation::page>},
    {"method", READ_TEXT<&Expectation::method>},
    {"answer",
     [](Reading &, const toml::node &value, Expectation &expectation) {
       using Answer = Expectation::Answer;
       expectation.answer = Chosen<Answer>(value, {{"blocked", Answer::BLOCKED},
                                                   {"passed", Answer::PASSED},
                                                   {"filtered", Answer::FILTERED},
                                                   {"untouched", Answer::UNTOUCHED}});
     }},
    {"by", READ_TEXT<&Expectation::by>},
    {"becomes", [](Reading &, const toml::node &value,
                   Expectation &expectation) { expectation.becomes = Text(value); }},
    {"rules",
     [](Reading &reading, const toml::node &value, Expectation &expectation) {
       expectation.rules.emplace();
       ForEach(reading, value,
               [&](const toml::node &element) { expectation.rules->push_back(Text(element)); });
     }},
};

}  // namespace

std::string ReadWhole(const std::filesystem::path &file, const std::string &name) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  if (!stream || (stream.peek() != EOF && !(text << stream.rdbuf())) || stream.bad()) {
    const std::error_code error(errno == 0 ? EIO : errno, std::generic_category());
    throw std::invalid_argument(name + "cannot be read: " + error.message());
  }
  return std::move(text).str();
}

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

std::string TextOrNumber(const toml::node &value) {
  const auto number = value.value_exact<std::int64_t>();
  return number ? std::to_string(*number) : Text(value);
}

std::uint64_t Size(const toml::node &value, std::uint64_t most) {
  const std::uint64_t size = ParseSize(TextOrNumber(value));
  if (size > most) throw std::invalid_argument("should be " + std::to_string(most) + " at most");
  return size;
}

void ReadSites(Reading &reading, const toml::node &value, HostSet &sites) {
  ForEach(reading, value, [&](const toml::node &element) { sites.Add(Text(element)); });
}

void ReadSiteLists(Reading &reading, const toml::node &value, HostSet &sites) {
  ForEach(reading, value, [&](const toml::node &element) {
    const std::string name = Text(element);
    std::istringstream lines(ReadWhole(reading.Path(name), name + ": "));
    AddSites(lines, name, sites, reading.left_out);
  });
}

void ReadClients(Reading &reading, const toml::node &value, std::vector<ClientNetwork> &clients) {
  ForEach(reading, value, [&](const toml::node &element) {
    clients.push_back(ClientNetwork::Parse(Text(element)));
  });
}

void ReadGroups(Reading &reading, const toml::node &value,
                std::vector<std::shared_ptr<const ClientGroup>> &groups) {
  ForEach(reading, value, [&](const toml::node &element) {
    const std::string name = Text(element);
    const auto &known = reading.named.groups;
    const auto found =
        std::ranges::find_if(known, [&](const auto &group) { return group->name == name; });
    if (found == known.end()) throw std::invalid_argument(Unknown("group", name, known));
    groups.push_back(*found);
  });
}

void ReadGroupTables(Reading &reading, const toml::node &value, Policy &policy) {
  ReadNamed(reading, value, "[[group]]", GROUP_TABLE, policy.groups);
}

void ReadSiteCategories(Reading &reading, const toml::node &value, Policy &policy) {
  ReadNamed(reading, value, "[[category]]", CATEGORY_KEYS, policy.site_categories);
  if (policy.site_categories.size() > MOST_SITE_CATEGORIES) {
    throw std::invalid_argument("there can be " + std::to_string(MOST_SITE_CATEGORIES) +
                                " categories at most");
  }
}

void ReadExpectations(Reading &reading, const toml::node &value, Policy &policy) {
  ForEachTable(reading, value, "[[expect]]", [&](const toml::node &element) {
    Expectation expectation{.line = element.source().begin.line};
    ReadTable(reading, element, EXPECT_TABLE, expectation);
    if (!element.as_table()->contains("url")) throw std::invalid_argument("needs a \"url\"");
    policy.expectations.push_back(std::move(expectation));
  });
}

}  // namespace velmora::host
