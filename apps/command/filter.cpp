// velmora filter: filters saved bodies.
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "command/answers/files.h"
#include "command/answers/messages.h"
#include "command/argument_checks.h"
#include "command/body_filter.h"
#include "command/commands.h"
#include "command/jobs.h"
#include "command/report.h"
#include "host/policy/policy_values.h"

namespace velmora::command {
namespace {

/// The plug-in reads the registry when it is loaded: it gets one that sends its log to standard
/// error.
void TurnLogOn() {
  constexpr std::string_view REGISTRY =
      "[HKEY_LOCAL_MACHINE\\Software\\Corvane]\n\"DebugLog\"=dword:00000004\n";
  const int file = memfd_create("velmora-registry", MFD_CLOEXEC);
  if (file < 0 || write(file, REGISTRY.data(), REGISTRY.size()) < 0) {
    throw std::system_error(errno, std::generic_category(), "debug log");
  }
  setenv("VELMORA_REGISTRY", fmt::format("/proc/self/fd/{}", file).c_str(), 1);
}

std::string_view ShownName(std::string_view name) {
  return name == STANDARD_INPUT ? "(standard input)" : name;
}

/// What the options say together.
void Check(const FilterOptions &options) {
  if (options.is_raw && !options.coding.empty())
    throw UsageError("--raw: --coding has no use then");
  if (options.is_raw || options.charset.empty()) return;
  if (const std::string fault = CheckCharset(options.charset); !fault.empty()) {
    throw UsageError("--charset: " + fault);
  }
}

int FilterFiles(const FilterOptions &options) {
  Check(options);
  const std::vector<Job> jobs =
      PlanJobs(options.files, options.output, options.is_diff, !options.is_raw);
  if (options.is_logging) TurnLogOn();
  // The command line stands above the environment.
  if (!options.ad_lists.empty()) unsetenv("VEXLAR_LISTS");
  const BodyFilter filter(options);
  Progress progress(jobs.size(), !options.is_quiet);
  const auto report = options.report == "json" ? MakeJsonReport(progress)
                                               : MakeTextReport(progress, options.is_quiet);
  Totals totals{.files = jobs.size()};
  const auto begin = std::chrono::steady_clock::now();
  for (const Job &job : jobs) {
    const std::string_view name = ShownName(job.input);
    progress.Begin(name);
    try {
      report->Done(name, filter.FilterFile(job, name, *report, totals));
    } catch (const std::exception &error) {
      report->Failed(name, error.what());
      ++totals.failed;
    }
  }
  progress.Clear();
  totals.time = std::chrono::steady_clock::now() - begin;
  if (jobs.size() > 1) report->Summary(totals);
  return totals.failed == 0 ? EXIT_OK : EXIT_FAILED;
}

/// An option that is a list of categories.
CLI::Option *AddCategoryOption(CLI::App &command, const std::string &names,
                               host::CategorySet &categories, const std::string &help) {
  return command
      .add_option_function<std::string>(
          names,
          [&categories, names](const std::string &list) {
            try {
              categories = host::CategorySet::Parse(list);
            } catch (const std::invalid_argument &error) {
              throw CLI::ValidationError(names, error.what());
            }
          },
          help)
      ->type_name("LIST");
}

std::string CategoryHelp() {
  std::string help =
      "Categories, by name or number, separated by commas; those blocked by default have a star:";
  for (std::size_t i = 0; i < std::size(host::CATEGORY_TABLE); ++i) {
    const host::Category &category = host::CATEGORY_TABLE[i];
    help += fmt::format("{}{:<20} {}{}", i % 3 == 0 ? "\n  " : "   ", category.name, category.code,
                        host::CategorySet::Default().Contains(category.code) ? '*' : ' ');
  }
  help += "\nand for several:";
  for (const host::CategoryGroup &group : host::CATEGORY_GROUPS) {
    help += fmt::format("\n  {:<20} {}", group.name, group.meaning);
  }
  return help +
         "\n\nThe filtered body goes to standard output, what was blocked to standard error.\n"
         "Exit code: 0 all done, 1 a file could not be filtered, 2 wrong usage.";
}

}  // namespace

void AddFilter(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("filter", "Filter saved bodies");
  const auto options = std::make_shared<FilterOptions>();
  command
      .add_option("FILE", options->files,
                  "Files to filter, folders with all in them, or \"-\" for standard input")
      ->required()
      ->type_name("");
  command
      .add_option("--type", options->type,
                  "Content type: html, js, vbs, gif or a full one (default: by name and content)")
      ->type_name("TYPE")
      ->check(CheckType);
  command.add_option("--charset", options->charset, "Character set that the Content-Type names")
      ->type_name("NAME");
  command
      .add_option(
          "--coding", options->coding,
          "Content coding: gzip, deflate, br, zstd or identity (default: by name and content)")
      ->type_name("NAME")
      ->check(CLI::IsMember({"gzip", "deflate", "br", "zstd", "identity"}).description(""));
  command.add_flag(
      "--raw", options->is_raw,
      "Hand bytes, type and character set to the plug-in as they are: nothing decoded, "
      "no other names for types and character sets, nothing looked for in the page");
  command.add_option("--url", options->url, "URL that the body came from")->type_name("URL");
  CLI::Option *const block = AddCategoryOption(command, "--block", options->block,
                                               "Categories to block (default: \"default\")");
  AddCategoryOption(command, "--allow", options->allow, "Categories to leave alone after all");
  command
      .add_option("--policy", options->policy,
                  "Block what this policy file says for the URL and the client")
      ->type_name("FILE")
      ->excludes(block);
  command.add_option("--client", options->client, "Address of the client, for the policy")
      ->type_name("ADDRESS")
      ->check(CheckAddress);
  command.add_option("--set", options->settings, "A setting of the plug-in (repeatable)")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
  command
      .add_option("--chunk-size", options->chunk_size,
                  "Bytes that the plug-in gets at a time (default: 65536)")
      ->type_name("N")
      ->check(CLI::Range(1U, 1U << 30).description(""));
  command
      .add_option("--max-held", options->max_held,
                  "Give a body up when more bytes than this are held back (default: 16M)")
      ->type_name("SIZE")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{3} << 30).description(""));
  command
      .add_option("--max-time", options->max_time,
                  "Give a body up that takes more processor time than this (default: 10s)")
      ->type_name("TIME")
      ->check([](const std::string &text) -> std::string {
        try {
          host::ParseDuration(text);
          return "";
        } catch (const std::invalid_argument &error) {
          return error.what();
        }
      });
  command
      .add_option("-o,--output", options->output,
                  "File for the result, or folder for results under the files' names")
      ->type_name("FILE|DIR");
  command
      .add_option("--report", options->report,
                  "What was blocked, on standard error: text, or json, an object a line")
      ->type_name("text|json")
      ->check(CLI::IsMember({"text", "json"}).description(""));
  command.add_flag("--diff", options->is_diff,
                   "Show each edit on standard output: its place in the original, what went and "
                   "what came; results are written only with -o");
  command.add_flag("-q,--quiet", options->is_quiet, "Do not say what was blocked");
  command.add_flag("--log", options->is_logging, "Write the plug-in's log to standard error");
  CLI::Option *const ad_library =
      command
          .add_option("--ad-library", options->ad_library,
                      "Ad-blocking library to use (default: libvexlar.so beside the plug-in)")
          ->type_name("FILE");
  CLI::Option *const ad_lists =
      command
          .add_option("--ad-lists", options->ad_lists,
                      "Lists for it, files and folders (repeatable; default: those that it finds)")
          ->type_name("FILE|DIR")
          ->allow_extra_args(false);
  command.add_flag("--no-ads", options->has_no_ads, "Use no ad-blocking library")
      ->excludes(ad_library)
      ->excludes(ad_lists);
  command
      .add_option(
          "--plugin", options->plugin,
          "Plug-in to use (default: libvelmora.so beside this program, or its installed place)")
      ->type_name("FILE");
  command.footer(CategoryHelp());
  command.callback([options, &action] { action = [options] { return FilterFiles(*options); }; });
}

}  // namespace velmora::command
