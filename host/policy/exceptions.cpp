#include "host/policy/exceptions.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "base/descriptor.h"
#include "host/events/event.h"

namespace velmora::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr mode_t MODE = 0644;

std::string NameOf(const Exception &exception) {
  const std::vector<std::string> names = exception.site.Names();
  return names.empty() ? std::string() : names.front();
}

std::string ToLine(const Exception &exception) {
  Json line;
  line["time"] = TimeText(std::chrono::system_clock::now());
  line["site"] = NameOf(exception);
  if (exception.client) line["client"] = exception.client->Text();
  if (!exception.group.empty()) line["group"] = exception.group;
  if (exception.until) line["until"] = TimeText(*exception.until);
  if (exception.categories != CategorySet::All()) line["categories"] = exception.categories.Text();
  if (!exception.site_categories.empty()) line["site-categories"] = exception.site_categories;
  return line.dump() + "\n";
}

/// Throws what the readers of its parts and of JSON throw.
Exception FromLine(const std::string &line) {
  const Json json = Json::parse(line);
  Exception exception;
  exception.site.Add(json.at("site").get<std::string>());
  if (json.contains("client")) {
    exception.client = ClientNetwork::Parse(json["client"].get<std::string>());
  }
  if (json.contains("group")) exception.group = json["group"].get<std::string>();
  if (json.contains("until")) {
    exception.until = ParseTime(json["until"].get<std::string>());
    if (!exception.until) throw std::invalid_argument("\"until\" is no time");
  }
  if (json.contains("categories")) {
    exception.categories = CategorySet::Parse(json["categories"].get<std::string>());
  }
  if (json.contains("site-categories")) {
    exception.site_categories = json["site-categories"].get<std::vector<std::string>>();
  }
  return exception;
}

[[noreturn]] void ThrowErrno(const std::filesystem::path &file) {
  throw std::system_error(errno, std::generic_category(), file.string());
}

std::string CategoriesOf(const Exception &exception) {
  if (exception.categories == CategorySet::All()) return "everything";
  const bool has_own_alone = exception.categories.IsEmpty() && !exception.site_categories.empty();
  std::string text = has_own_alone ? std::string() : exception.categories.Text();
  for (const std::string &name : exception.site_categories) {
    text.append(text.empty() ? "" : ", ").append(name);
  }
  return text;
}

/// Through no link: the folder may be the proxy's, and who writes root.
base::Descriptor Open(const std::filesystem::path &file, int flags) {
  return base::Descriptor(open(file.c_str(), flags | O_NOFOLLOW | O_CLOEXEC, MODE));
}

/// The file, for this process alone until it is closed. Who had it before may have put another in
/// its place: then that one is waited for.
base::Descriptor OpenAlone(const std::filesystem::path &file, int flags) {
  for (;;) {
    base::Descriptor opened = Open(file, flags);
    if (!opened.IsOpen()) return opened;
    // Where there are no locks, everybody goes on.
    TEMP_FAILURE_RETRY(flock(opened.number(), LOCK_EX));
    struct stat held;
    struct stat named;
    if (fstat(opened.number(), &held) != 0) ThrowErrno(file);
    if (lstat(file.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
        held.st_ino == named.st_ino) {
      return opened;
    }
  }
}

/// In one go: who reads sees whole lines.
void Write(const base::Descriptor &file, const std::filesystem::path &name,
           const std::string &text) {
  if (!file.IsOpen() ||
      write(file.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    ThrowErrno(name);
  }
  // Whatever the proxy keeps from others by default: `check-config` reads it.
  fchmod(file.number(), MODE);
  struct stat folder;
  if (geteuid() == 0 && stat(name.parent_path().c_str(), &folder) == 0) {
    // Where that is not possible, the owner reads it still.
    static_cast<void>(fchown(file.number(), folder.st_uid, folder.st_gid) == 0);
  }
}

}  // namespace

bool Exception::AppliesTo(const HostName &asked, const std::optional<ClientAddress> &from,
                          Time now) const {
  return (!until || now < *until) && site.Contains(asked) &&
         (!client || (from && client->Contains(*from)));
}

std::vector<Exception> ReadExceptions(const std::filesystem::path &file) {
  std::vector<Exception> exceptions;
  std::ifstream lines(file);
  if (!lines) {
    if (errno == ENOENT) return exceptions;
    throw std::system_error(errno, std::generic_category(), file.string());
  }
  const auto now = std::chrono::system_clock::now();
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (line.empty()) continue;
    try {
      Exception exception = FromLine(line);
      if (!exception.until || now < *exception.until) exceptions.push_back(std::move(exception));
    } catch (const std::exception &fault) {
      throw std::runtime_error(file.string() + ":" + std::to_string(number) + ": " + fault.what());
    }
  }
  return exceptions;
}

void AddException(const std::filesystem::path &file, const Exception &exception) {
  Write(OpenAlone(file, O_WRONLY | O_APPEND | O_CREAT), file, ToLine(exception));
}

std::optional<Exception> TakeExceptionBack(const std::filesystem::path &file,
                                           std::string_view described) {
  const base::Descriptor held = OpenAlone(file, O_RDONLY);
  std::vector<Exception> exceptions = ReadExceptions(file);
  const auto found = std::find_if(
      exceptions.rbegin(), exceptions.rend(),
      [&](const Exception &each) { return described.empty() || Describe(each) == described; });
  if (found == exceptions.rend()) return std::nullopt;
  const Exception last = *found;
  exceptions.erase(std::next(found).base());
  std::string text;
  for (const Exception &exception : exceptions) text += ToLine(exception);
  std::filesystem::path written = file;
  written += ".new";
  Write(Open(written, O_WRONLY | O_CREAT | O_TRUNC), written, text);
  std::filesystem::rename(written, file);
  return last;
}

std::string Describe(const Exception &exception) {
  std::string text = NameOf(exception);
  if (exception.client) text += " for " + exception.client->Text();
  if (!exception.group.empty()) text += " for the group " + exception.group;
  if (exception.until) text += " until " + TimeText(*exception.until);
  return text + ": " + CategoriesOf(exception);
}

}  // namespace velmora::host
