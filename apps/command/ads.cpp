// velmora ads: what the ad-blocking lists say about URLs, and what they hold.
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/commands.h"
#include "matcher/loader.h"
#include "matcher/request_types.h"
#include "matcher/sources.h"
#include "matcher/url.h"

namespace velmora::command {
namespace {

struct AdsOptions {
  std::vector<std::string> urls{};
  std::string page{};
  std::vector<std::string> lists{};
  std::string checked{};
  /// Kinds of requests to judge for; what elements load where none is named.
  std::uint16_t types = adblock::TYPES_ELEMENT;
  bool is_link = false;
  bool is_batch = false;
  bool is_stats = false;
};

/// The lists that the command line names, else those that the library would take. Says which ones
/// cannot be read; fails when none is left.
adblock::Sources ReadLists(const AdsOptions &options) {
  std::string paths;
  for (const std::string &list : options.lists) paths += list + ":";
  adblock::Sources sources = paths.empty() ? adblock::ReadSources({}) : adblock::ReadPaths(paths);
  for (const std::string &problem : sources.problems) PrintMessage(problem);
  if (sources.lists.empty()) throw std::runtime_error("there is no list to read");
  return sources;
}

std::unique_ptr<adblock::Ruleset> LoadRules(const AdsOptions &options) {
  return adblock::LoadRules(ReadLists(options).lists, adblock::CacheFolder()).rules;
}

std::string Judge(const adblock::Ruleset &rules, const AdsOptions &options,
                  const std::string &url) {
  if (!adblock::Url(url).HasHost()) {
    throw UsageError("\"" + Printable(url) + "\" is not an absolute URL");
  }
  const adblock::Verdict verdict = rules.JudgeRequest(
      options.page,
      {{}, url, options.is_link ? adblock::TYPE_POPUP : options.types, adblock::METHOD_GET});
  constexpr const char *NAMES[] = {"no ad", "blocked", "allowed"};
  std::string text =
      fmt::format("{:<8} {}\n", NAMES[static_cast<int>(verdict.kind)], Printable(url));
  if (verdict.kind == adblock::Verdict::Kind::kNone) return text;
  const adblock::RuleOrigin origin = rules.OriginOf(verdict.rule);
  return text + fmt::format("         by {}\n         {}:{}\n", Printable(origin.text), origin.list,
                            origin.line);
}

/// The types that a rule is for, where it names some.
std::string TypesText(std::uint16_t types) {
  using namespace adblock;
  if (types == TYPES_LOADED) return " what pages load";
  std::string text;
  std::uint16_t left = types;
  for (const TypeName &entry : TYPE_NAMES) {
    if (!(left & entry.type)) continue;
    text += fmt::format("{}{}", text.empty() ? " " : ", ", entry.name);
    left = static_cast<std::uint16_t>(left & ~entry.type);
  }
  return text;
}

std::string TypeChoice(const std::string &name) {
  std::string names;
  for (const adblock::TypeName &entry : adblock::TYPE_NAMES) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", entry.name);
  }
  return fmt::format("\"{}\" is no type of a request: {}", Printable(name), names);
}

/// Answers lines "TYPE<tab>PAGE<tab>URL" of standard input, each at once, with a line
/// "blocked|allowed|none<tab>RULE". Were all lines questions?
bool AnswerLines(const adblock::Ruleset &rules, Output &output) {
  constexpr const char *NAMES[] = {"none", "blocked", "allowed"};
  bool is_readable = true;
  std::string line;
  for (std::size_t number = 1; std::getline(std::cin, line); ++number) {
    if (line.ends_with('\r')) line.pop_back();
    std::string_view rest = line;
    const auto cut = [&] {
      const std::string_view piece = rest.substr(0, rest.find('\t'));
      rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
      return piece;
    };
    const std::uint16_t type = adblock::TypeOfName(cut());
    const std::string_view page = cut();
    if (type == 0 || !adblock::Url(rest).HasHost()) {
      PrintMessage(
          fmt::format("line {}: not a type, a page and an absolute URL with tabs between", number));
      is_readable = false;
      output.Write("none\t\n");
    } else {
      const adblock::Verdict verdict =
          rules.JudgeRequest(page, {{}, rest, type, adblock::METHOD_GET});
      output.Write(fmt::format("{}\t{}\n", NAMES[static_cast<int>(verdict.kind)],
                               Printable(rules.OriginOf(verdict.rule).text)));
    }
    std::fflush(stdout);
  }
  return is_readable;
}

/// What a rule does, in words.
std::string Reading(const adblock::Rule &rule) {
  using namespace adblock;
  if (rule.flags & RULE_BAD_FILTER) return "takes a rule out of force";
  std::string text = rule.flags & RULE_ALLOW ? "allows" : "blocks";
  if (rule.flags & RULE_IMPORTANT) text += ", above all others,";
  text += TypesText(rule.types);
  if (rule.flags & RULE_THIRD_PARTY) text += ", third party";
  if (rule.flags & RULE_FIRST_PARTY) text += ", first party";
  const auto add_domains = [&](const std::vector<DomainName> &domains, const char *where) {
    for (const DomainName &domain : domains) {
      text += fmt::format(", {}{} {}{}", domain.excluded ? "not " : "", where, domain.name,
                          domain.any_suffix ? ".*" : "");
    }
  };
  add_domains(rule.page_domains, "on");
  add_domains(rule.url_domains, "to");
  text += rule.flags & RULE_EXPRESSION    ? ": expression "
          : rule.flags & RULE_HOST_ANCHOR ? ": host "
                                          : ": address ";
  if (rule.flags & RULE_START_ANCHOR) text += "from its start ";
  if (rule.flags & RULE_END_ANCHOR) text += "to its end ";
  return text + std::string(rule.pattern);
}

std::string Reading(const adblock::ParsedLine &parsed) {
  using adblock::LineKind;
  std::string text;
  switch (parsed.kind) {
    case LineKind::kBlank:
    case LineKind::kComment:
      break;
    case LineKind::kRules:
      for (const adblock::Rule &rule : parsed.rules) {
        text += (text.empty() ? "" : "; ") + Reading(rule);
      }
      break;
    case LineKind::kSize:
      return fmt::format("size {}x{}", parsed.size.width, parsed.size.height);
    case LineKind::kNoSizes:
      return "forgets all sizes before";
    case LineKind::kSkipped:
      text = fmt::format("skipped: {}", adblock::SKIP_NAMES[static_cast<std::size_t>(parsed.skip)]);
      if (!parsed.detail.empty()) text += fmt::format(": {}", parsed.detail);
      break;
  }
  return text;
}

/// Every line but the empty ones and comments, with what it is read as. Answers whether all lines
/// could be read.
bool CheckList(const std::string &file, Output &output) {
  const adblock::Sources sources = adblock::ReadPaths(file);
  for (const std::string &problem : sources.problems) PrintMessage(problem);
  bool is_readable = sources.problems.empty();
  for (const adblock::ListText &list : sources.lists) {
    adblock::StringArena arena;
    adblock::VisitLines(
        list.text, arena,
        [&](std::uint32_t number, std::string_view line, const adblock::ParsedLine &parsed) {
          const std::string reading = Reading(parsed);
          if (reading.empty()) return;
          output.Write(fmt::format("{}:{}: {}\n    {}\n", list.name, number, Printable(line),
                                   Printable(reading)));
          if (parsed.kind != adblock::LineKind::kSkipped) return;
          is_readable = is_readable && !adblock::IsError(parsed.skip);
        });
  }
  return is_readable;
}

int RunAds(const AdsOptions &options) {
  Output output({});
  bool is_done = true;
  if (!options.checked.empty()) {
    is_done = CheckList(options.checked, output);
  } else {
    const auto rules = LoadRules(options);
    if (options.is_stats) output.Write(adblock::DescribeRules(*rules));
    for (const std::string &url : options.urls) output.Write(Judge(*rules, options, url));
    if (options.is_batch) is_done = AnswerLines(*rules, output);
  }
  output.Finish();
  return is_done ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

void AddAds(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("ads", "Ask the ad-blocking lists about URLs");
  const auto options = std::make_shared<AdsOptions>();
  command.add_option("URL", options->urls, "URLs to judge")->type_name("");
  command.add_option("--page", options->page, "URL or host of the page that they are on")
      ->type_name("URL");
  command.add_flag("--link", options->is_link, "Judge them as what a link opens");
  command
      .add_option_function<std::string>(
          "--type",
          [options](const std::string &name) {
            options->types = adblock::TypeOfName(name);
            if (options->types == 0) throw CLI::ValidationError("--type", TypeChoice(name));
          },
          "Judge them as requests of a type: script, image, stylesheet, font, media, object,\n"
          "subdocument, xmlhttprequest, websocket, ping, popup, document or other\n"
          "(default: whatever an element of a page may load)")
      ->type_name("TYPE");
  command.add_flag("--batch", options->is_batch,
                   "Read lines TYPE<tab>PAGE<tab>URL and answer each at once with a line\n"
                   "blocked|allowed|none<tab>RULE");
  command
      .add_option("--ad-lists", options->lists,
                  "Lists to use, files and folders (default: those of VEXLAR_LISTS, else those\n"
                  "that are installed, else a small built-in one)")
      ->type_name("FILE|DIR")
      ->allow_extra_args(false);
  command.add_flag("--stats", options->is_stats,
                   "Show the lists, what was read in them, and the sizes");
  command.add_option("--check", options->checked, "Show what each line of a list would be read as")
      ->type_name("FILE");
  command.footer(
      "Exit code: 0 all done, 1 a list or, with --check or --batch, a line cannot be read,\n"
      "2 wrong usage.");
  command.callback([options, &action] {
    if (options->urls.empty() && !options->is_stats && !options->is_batch &&
        options->checked.empty()) {
      throw CLI::RequiredError("a URL, --batch, --stats or --check");
    }
    action = [options] { return RunAds(*options); };
  });
}

}  // namespace velmora::command
