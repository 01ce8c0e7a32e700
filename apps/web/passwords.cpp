#include "web/passwords.h"

#include <array>
#include <cerrno>
#include <crypt.h>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "base/descriptor.h"
#include "web/secrets.h"

namespace velmora::web {
namespace {

using Hashes = std::map<std::string, std::string, std::less<>>;

constexpr mode_t MODE = 0600;
constexpr char METHOD[] = "$y$";
/// Takes as long as a real one, and is no password's.
constexpr char NOBODYS[] = "$y$j9T$0123456789abcdefghijk.$";

[[noreturn]] void Fail(const std::filesystem::path &file) {
  throw std::system_error(errno, std::generic_category(), file.string());
}

std::string_view NameOf(Role role) noexcept {
  return role == Role::CHANGE ? "change" : "view";
}

Hashes Read(const std::filesystem::path &file) {
  Hashes hashes;
  std::ifstream lines(file);
  if (!lines && errno != ENOENT) Fail(file);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t colon = line.find(':');
    if (colon != line.npos) hashes[line.substr(0, colon)] = line.substr(colon + 1);
  }
  return hashes;
}

/// Empty when it cannot be done.
std::string Hash(const std::string &password, const std::string &setting) {
  const auto data = std::make_unique<crypt_data>();
  const char *const hash = crypt_rn(password.c_str(), setting.c_str(), data.get(), sizeof *data);
  return hash == nullptr ? std::string() : hash;
}

std::string NewHash(const std::string &password) {
  std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting;
  if (crypt_gensalt_rn(METHOD, 0, nullptr, 0, setting.data(), setting.size()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "crypt");
  }
  std::string hash = Hash(password, setting.data());
  if (hash.empty()) throw std::system_error(errno, std::generic_category(), "crypt");
  return hash;
}

/// Whole or not at all, and left to the folder's owner, who may be the service's user.
void Write(const std::filesystem::path &file, const Hashes &hashes) {
  std::string text;
  for (const auto &[name, hash] : hashes) text.append(name).append(":").append(hash).append("\n");
  std::filesystem::path written = file;
  written += ".new";
  unlink(written.c_str());
  {
    const base::Descriptor descriptor(
        open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, MODE));
    if (!descriptor.IsOpen() ||
        write(descriptor.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      Fail(written);
    }
    struct stat folder;
    if (geteuid() == 0 && stat(file.parent_path().c_str(), &folder) == 0 &&
        fchown(descriptor.number(), folder.st_uid, folder.st_gid) != 0) {
      Fail(written);
    }
  }
  std::filesystem::rename(written, file);
}

}  // namespace

void SetPassword(const std::filesystem::path &file, Role role, const std::string &password) {
  Hashes hashes = Read(file);
  if (password.empty()) {
    hashes.erase(std::string(NameOf(role)));
  } else {
    if (password.size() < LEAST_PASSWORD || password.size() > MOST_PASSWORD) {
      throw std::invalid_argument("a password has " + std::to_string(LEAST_PASSWORD) + " to " +
                                  std::to_string(MOST_PASSWORD) + " characters");
    }
    hashes[std::string(NameOf(role))] = NewHash(password);
  }
  Write(file, hashes);
}

bool HasPasswords(const std::filesystem::path &file) {
  return !Read(file).empty();
}

Role RoleOf(const std::filesystem::path &file, const std::string &password) {
  const Hashes hashes = Read(file);
  Role found = Role::NOBODY;
  // Whichever it is, and whether there is one, the time is the same.
  for (const Role role : {Role::VIEW, Role::CHANGE}) {
    const auto known = hashes.find(NameOf(role));
    const std::string setting = known == hashes.end() ? NOBODYS : known->second;
    const std::string hash = Hash(password, setting);
    if (known != hashes.end() && !hash.empty() && AreEqual(hash, known->second)) found = role;
  }
  return found;
}

}  // namespace velmora::web
