// velmora filter: filters saved bodies.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "command/body_type.h"
#include "command/commands.h"
#include "command/files.h"
#include "command/messages.h"
#include "command/text_report.h"
#include "host/body_stream.h"
#include "host/plugin.h"
#include "host/transaction.h"

namespace velmora::command {
namespace {

struct FilterOptions {
  std::vector<std::string> files;
  std::string type;
  std::string charset;
  std::string url;
  host::CategorySet block = host::CategorySet::All();
  host::CategorySet allow;
  std::vector<std::string> settings;
  std::uint32_t chunk_size = host::StreamOptions().slice_size;
  std::uint64_t max_held = host::HeldBytesLimit().most;
  std::filesystem::path output;
  bool is_quiet = false;
  bool is_logging = false;
  std::optional<std::filesystem::path> ad_library;
  std::optional<std::filesystem::path> plugin;
};

/// A command line that can be read but makes no sense.
class UsageError : public std::runtime_error {
  using runtime_error::runtime_error;
};

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

std::map<std::string, std::string, std::less<>> Settings(const std::vector<std::string> &settings) {
  std::map<std::string, std::string, std::less<>> values;
  for (const std::string &setting : settings) {
    const std::size_t equals = setting.find('=');
    if (equals == setting.npos || equals == 0) {
      throw UsageError("--set: \"" + setting + "\" is not NAME=VALUE");
    }
    values[setting.substr(0, equals)] = setting.substr(equals + 1);
  }
  return values;
}

/// Where each file's result goes, in the files' order; empty for standard output.
std::vector<std::filesystem::path> OutputPaths(const FilterOptions &options) {
  const bool is_folder = options.files.size() > 1 || !options.output.has_filename() ||
                         std::filesystem::is_directory(options.output);
  if (options.output.empty()) {
    if (options.files.size() > 1) throw UsageError("several files need -o DIR");
    return {{}};
  }
  if (!is_folder) return {options.output};
  std::vector<std::filesystem::path> paths;
  std::set<std::filesystem::path> taken;
  for (const std::string &file : options.files) {
    if (file == STANDARD_INPUT) throw UsageError("-o: standard input has no name in a folder");
    paths.push_back(options.output / std::filesystem::path(file).filename());
    if (!taken.insert(paths.back()).second) {
      throw UsageError("two files would become " + paths.back().string());
    }
  }
  std::filesystem::create_directories(options.output);
  return paths;
}

std::string_view ShownName(std::string_view name) {
  return name == STANDARD_INPUT ? "(standard input)" : name;
}

std::string Message(host::StopReason reason) {
  const std::string message = host::Describe(reason);
  return reason == host::StopReason::HELD_BYTES ? message + " (see --max-held)" : message;
}

class Filter {
 public:
  explicit Filter(const FilterOptions &options)
      : options_(options),
        settings_(Settings(options.settings)),
        plugin_(options.plugin.value_or(host::PluginBesideProgram()), options.ad_library),
        report_(options.is_quiet) {}

  /// Throws when the file cannot be read, filtered or written.
  void FilterFile(const std::string &name, const std::filesystem::path &output_path) {
    Input input(name);
    std::string piece = input.Read(options_.chunk_size);
    const std::string type = ContentType(name, piece);
    TextReport::Body report(report_, ShownName(name));
    host::Transaction transaction({.url = options_.url,
                                   .content_type = type,
                                   .categories = options_.block.Without(options_.allow),
                                   .settings = settings_},
                                  report);
    host::BodyStream stream(
        plugin_.CreateProcessor(), transaction,
        {.slice_size = options_.chunk_size,
         .limits = {.held_bytes = {static_cast<std::uint32_t>(options_.max_held)},
                    .beyond = host::BeyondLimit::FAIL}});
    const bool is_wanted = stream.State() == host::StreamState::FILTERING;
    Output output(output_path);
    std::size_t bytes_in = 0;
    std::size_t bytes_out = 0;
    const auto write_all = [&](std::string_view out) {
      for (; !out.empty(); out = stream.Next()) {
        output.Write(out);
        bytes_out += out.size();
      }
    };
    for (bool is_last = false; !is_last;) {
      bytes_in += piece.size();
      std::string next = input.Read(options_.chunk_size);
      is_last = next.empty();
      write_all(is_last ? stream.Finish(piece) : stream.Push(piece));
      if (const auto reason = report.Stopped()) throw std::runtime_error(Message(*reason));
      piece = std::move(next);
    }
    output.Finish();
    report.Close(type, bytes_in, bytes_out, is_wanted);
  }

  const TextReport &Report() const noexcept { return report_; }

 private:
  std::string ContentType(const std::string &name, std::string_view first_bytes) const {
    std::string type =
        options_.type.empty() ? BodyType(name, first_bytes) : FullType(options_.type);
    if (!options_.charset.empty()) type += "; charset=" + options_.charset;
    return type;
  }

  const FilterOptions &options_;
  std::map<std::string, std::string, std::less<>> settings_;
  host::Plugin plugin_;
  TextReport report_;
};

int FilterFiles(const FilterOptions &options) {
  const std::vector<std::filesystem::path> outputs = OutputPaths(options);
  if (options.is_logging) TurnLogOn();
  Filter filter(options);
  int exit_code = EXIT_OK;
  for (std::size_t i = 0; i < options.files.size(); ++i) {
    try {
      filter.FilterFile(options.files[i], outputs[i]);
    } catch (const std::exception &error) {
      PrintMessage(fmt::format("{}: {}", ShownName(options.files[i]), error.what()));
      exit_code = EXIT_FAILED;
    }
  }
  if (options.files.size() > 1) filter.Report().PrintSummary();
  return exit_code;
}

/// An option that is a list of categories.
void AddCategoryOption(CLI::App &command, const std::string &names, host::CategorySet &categories,
                       const std::string &help) {
  command
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
      "Categories, by name or number, separated by commas; \"ads\" stands for all six kinds of\n"
      "advertisements, \"all\" for every category, \"none\" for no one:";
  for (std::size_t i = 0; i < std::size(host::CATEGORY_NAMES); ++i) {
    const auto &[code, name] = host::CATEGORY_NAMES[i];
    help += fmt::format("{}{:<20} {}", i % 3 == 0 ? "\n  " : "   ", name, code);
  }
  return help +
         "\n\nThe filtered body goes to standard output, what was blocked to standard error.\n"
         "Exit code: 0 all done, 1 a file could not be filtered, 2 wrong usage.";
}

}  // namespace

void AddFilter(CLI::App &application, Action &action) {
  CLI::App &command = *application.add_subcommand("filter", "Filter saved bodies");
  const auto options = std::make_shared<FilterOptions>();
  command.add_option("FILE", options->files, "Files to filter, or \"-\" for standard input")
      ->required()
      ->type_name("");
  command
      .add_option("--type", options->type,
                  "Content type: html, js, vbs, gif or a full one (default: by name and content)")
      ->type_name("TYPE");
  command.add_option("--charset", options->charset, "Character set that the Content-Type names")
      ->type_name("NAME");
  command.add_option("--url", options->url, "Address that the body came from")->type_name("URL");
  AddCategoryOption(command, "--block", options->block, "Categories to block (default: all)");
  AddCategoryOption(command, "--allow", options->allow, "Categories to leave alone after all");
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
      .add_option("-o,--output", options->output,
                  "File for the result, or folder for results under the files' names")
      ->type_name("FILE|DIR");
  command.add_flag("-q,--quiet", options->is_quiet, "Do not say what was blocked");
  command.add_flag("--log", options->is_logging, "Write the plug-in's log to standard error");
  command.add_option("--ad-library", options->ad_library, "Ad-blocking library to load first")
      ->type_name("FILE");
  command
      .add_option("--plugin", options->plugin,
                  "Plug-in to use (default: libvelmora.so beside this program)")
      ->type_name("FILE");
  command.footer(CategoryHelp());
  command.callback([options, &action] {
    action = [options] {
      try {
        return FilterFiles(*options);
      } catch (const UsageError &error) {
        PrintMessage(error.what());
        return EXIT_USAGE;
      }
    };
  });
}

}  // namespace velmora::command
