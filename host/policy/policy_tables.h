// What all readers of the policy file's tables share: a table of keys, each with what reads its
// value, and values of the common kinds.
#pragma once

#define TOML_HEADER_ONLY 1
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <utility>
#include <vector>

#include "host/policy/policy.h"

namespace velmora::host {

/// The file's bytes; `name` stands in front of what goes wrong.
std::string ReadWhole(const std::filesystem::path &file, const std::string &name = {});

/// The names for a message: "a", "b", "c".
template <class Names>
std::string Quoted(const Names &names) {
  std::string list;
  for (const std::string_view name : names) {
    list += (list.empty() ? "\"" : ", \"") + std::string(name) + "\"";
  }
  return list;
}

/// Where the file lies, what it has given names to, and what is wrong with it so far.
struct Reading {
  std::filesystem::path folder;
  const Policy &named;
  std::vector<PolicyProblem> problems{};
  /// As in the policy.
  std::vector<std::string> left_out{};

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

/// In the order of `keys`, wherever they stand: what gives a name comes before what uses it.
template <class Target, std::size_t COUNT>
void ReadTable(Reading &reading, const toml::node &value, const Key<Target> (&keys)[COUNT],
               Target &target) {
  const toml::table *const table = value.as_table();
  if (table == nullptr) throw std::invalid_argument("should be a table");
  for (const Key<Target> &key : keys) {
    const toml::node *const node = table->get(key.name);
    if (node != nullptr) reading.Try(*node, [&] { key.read(reading, *node, target); });
  }
  std::array<std::string_view, COUNT> known;
  std::ranges::transform(keys, known.begin(), &Key<Target>::name);
  for (const auto &[name, node] : *table) {
    if (std::ranges::find(known, name.str()) != known.end()) continue;
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

/// Calls a function with each table of an array of tables; `how` is how that is written.
template <class Function>
void ForEachTable(Reading &reading, const toml::node &value, const char *how, Function function) {
  const toml::array *const array = value.as_array();
  if (array == nullptr) throw std::invalid_argument(std::string("should be written ") + how);
  for (const toml::node &element : *array) reading.Try(element, [&] { function(element); });
}

// Values. Each throws `std::invalid_argument` for a value of another kind.

bool Flag(const toml::node &value);
std::string Text(const toml::node &value);
/// A text or a number that could stand in its place.
std::string TextOrNumber(const toml::node &value);
std::uint64_t Size(const toml::node &value, std::uint64_t most);

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

// Parts of several tables.

void ReadSites(Reading &reading, const toml::node &value, HostSet &sites);
/// Files with a name a line; "#" begins a comment. A line may also be one of a hosts file.
void ReadSiteLists(Reading &reading, const toml::node &value, HostSet &sites);
void ReadClients(Reading &reading, const toml::node &value, std::vector<ClientNetwork> &clients);
/// Groups by the names that the policy gives.
void ReadGroups(Reading &reading, const toml::node &value,
                std::vector<std::shared_ptr<const ClientGroup>> &groups);

// Tables that give names, and examples.

void ReadGroupTables(Reading &reading, const toml::node &value, Policy &policy);
void ReadSiteCategories(Reading &reading, const toml::node &value, Policy &policy);
void ReadExpectations(Reading &reading, const toml::node &value, Policy &policy);

}  // namespace velmora::host
