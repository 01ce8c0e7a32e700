#include "loader.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>

#include "files.h"

namespace velmora::adblock {
namespace {

std::unique_ptr<Ruleset> OpenCached(const std::string &file, const Fingerprint &source) {
  auto bytes = MapOwnFile(file);
  if (!bytes) return nullptr;
  auto image = Image::Open(*std::move(bytes));
  if (!image || image->Header().source != source) return nullptr;
  return std::make_unique<Ruleset>(*std::move(image));
}

template <typename... Values>
void AppendFormat(std::string *text, const char *format, Values... values) {
  char line[160];
  std::snprintf(line, sizeof line, format, values...);
  *text += line;
}

}  // namespace

std::string CacheFolder() {
  std::string base = Environment("XDG_CACHE_HOME");
  if (!base.starts_with('/')) {
    base = Environment("HOME");
    if (!base.starts_with('/')) {
      std::error_code unreadable;
      const bool is_there = std::filesystem::is_directory(VELMORA_CACHE_FOLDER, unreadable);
      return is_there ? VELMORA_CACHE_FOLDER : "";
    }
    base += "/.cache";
  }
  return base + "/velmora";
}

std::string CacheFile(const std::string &folder, const std::vector<ListText> &lists) {
  std::string names;
  for (const ListText &list : lists) names.append(list.name).push_back('\0');
  char file[32];
  std::snprintf(file, sizeof file, "/%016" PRIx64 ".rules", FingerprintOf(names).words[0]);
  return folder + file;
}

LoadedRules LoadRules(const std::vector<ListText> &lists, const std::string &cache_folder) {
  LoadedRules loaded;
  std::string file;
  if (!cache_folder.empty()) {
    file = CacheFile(cache_folder, lists);
    const Fingerprint source = FingerprintOfLists(lists);
    loaded.rules = OpenCached(file, source);
    if (loaded.rules) {
      loaded.from_cache = true;
      return loaded;
    }
    if (ReplaceFile(cache_folder, file, CompileLists(lists))) {
      loaded.rules = OpenCached(file, source);
      if (loaded.rules) {
        ReleaseUnusedMemory();
        return loaded;
      }
    }
  }
  const auto compiled = std::make_shared<const std::string>(CompileLists(lists));
  loaded.rules = std::make_unique<Ruleset>(*Image::Open({*compiled, compiled}));
  ReleaseUnusedMemory();
  return loaded;
}

std::string DescribeRules(const Ruleset &rules) {
  const Image &image = rules.Compiled();
  std::string text;
  for (std::uint32_t at = 0; at < image.lists.Count(); ++at) {
    const ListRecord list = image.lists[at];
    text.append(image.Text(list.name)).append("\n");
    const ListCounts &counts = list.counts;
    const auto line = [&](std::uint32_t count, const char *what) {
      if (count > 0) AppendFormat(&text, "  %8u  %s\n", count, what);
    };
    line(counts.lines, "lines");
    line(counts.rules, "rules in force");
    line(counts.repeated, "rules that stand before already");
    line(counts.cancelled, "rules taken out by badfilter");
    line(counts.sizes, "sizes");
    line(counts.comments, "comments");
    for (std::size_t skip = 0; skip < SKIP_COUNT; ++skip) {
      line(counts.skipped[skip], (std::string("skipped: ") + SKIP_NAMES[skip]).c_str());
    }
  }
  AppendFormat(&text, "in all\n  %8u  rules, %u of them without a key, %u regular expressions\n",
               image.rules.Count(), image.unkeyed.Count(), image.Header().expressions);
  AppendFormat(&text, "  %8zu  bytes compiled\n", image.Bytes().size());
  AppendFormat(&text, "  %8u  sizes:", image.sizes.Count());
  for (std::uint32_t at = 0; at < image.sizes.Count(); ++at) {
    AppendFormat(&text, " %ux%u", image.sizes[at] >> 16, image.sizes[at] & 0xFFFF);
  }
  return text + "\n";
}

}  // namespace velmora::adblock
