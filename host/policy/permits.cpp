#include "host/policy/permits.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <nettle/hmac.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "base/descriptor.h"
#include "base/hex.h"

namespace velmora::host {
namespace {

constexpr std::size_t KEY_SIZE = 32;
constexpr char KEY_FILE[] = "permits.key";
/// The longest that an expiry and its salt can be.
constexpr std::size_t MOST_PERMIT = 128;

[[noreturn]] void Fail(const std::filesystem::path &file) {
  throw std::system_error(errno, std::generic_category(), file.string());
}

template <std::size_t SIZE>
std::array<std::uint8_t, SIZE> RandomBytes() {
  std::array<std::uint8_t, SIZE> bytes;
  // So few come whole or not at all.
  if (getrandom(bytes.data(), SIZE, 0) != static_cast<ssize_t>(SIZE)) Fail("getrandom");
  return bytes;
}

/// Empty when there is no such file.
std::string ReadKey(const std::filesystem::path &file) {
  const base::Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!descriptor.IsOpen()) {
    if (errno == ENOENT) return {};
    Fail(file);
  }
  std::string key(KEY_SIZE, '\0');
  const ssize_t size = read(descriptor.number(), key.data(), key.size());
  if (size != static_cast<ssize_t>(KEY_SIZE)) {
    if (size >= 0) errno = EINVAL;
    Fail(file);
  }
  return key;
}

/// Whichever of several processes is first makes the key, whole or not at all.
std::string MakeKey(const std::filesystem::path &file) {
  const auto bytes = RandomBytes<KEY_SIZE>();
  std::filesystem::path made = file;
  made += std::string(".").append(std::to_string(getpid()));
  {
    const base::Descriptor descriptor(
        open(made.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!descriptor.IsOpen() ||
        write(descriptor.number(), bytes.data(), KEY_SIZE) != static_cast<ssize_t>(KEY_SIZE)) {
      Fail(made);
    }
  }
  const bool is_made = link(made.c_str(), file.c_str()) == 0 || errno == EEXIST;
  const int error = errno;
  unlink(made.c_str());
  errno = error;
  if (!is_made) Fail(file);
  return ReadKey(file);
}

std::string HexTime(Permits::Clock::time_point time) {
  std::array<char, 20> text{};
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch());
  const auto end = std::to_chars(text.data(), text.data() + text.size(), seconds.count(), 16);
  return {text.data(), end.ptr};
}

/// In a time that tells nothing of where they differ.
bool IsEqual(std::string_view left, std::string_view right) noexcept {
  if (left.size() != right.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    difference |= static_cast<unsigned char>(left[i]) ^ static_cast<unsigned char>(right[i]);
  }
  return difference == 0;
}

}  // namespace

const std::string &Permits::Key() {
  if (!key_.empty()) return key_;
  if (folder_.empty()) {
    errno = ENOENT;
    Fail(KEY_FILE);
  }
  const std::filesystem::path file = folder_ / KEY_FILE;
  key_ = ReadKey(file);
  if (key_.empty()) key_ = MakeKey(file);
  return key_;
}

std::string Permits::Signature(const Permission &permission, std::string_view expiry) {
  hmac_sha256_ctx context;
  {
    const base::MutexLock lock(mutex_);
    const std::string &key = Key();
    hmac_sha256_set_key(&context, key.size(), reinterpret_cast<const std::uint8_t *>(key.data()));
  }
  const std::uint8_t between = 0;
  for (const std::string_view part :
       {permission.action, permission.client, expiry, permission.url}) {
    hmac_sha256_update(&context, part.size(), reinterpret_cast<const std::uint8_t *>(part.data()));
    hmac_sha256_update(&context, 1, &between);
  }
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
  hmac_sha256_digest(&context, digest.size(), digest.data());
  return base::Hex(digest.data(), digest.size());
}

std::string Permits::Offer(const Permission &permission, Clock::time_point now) {
  // What cannot be taken up is not offered.
  if (access(folder_.c_str(), W_OK | X_OK) != 0) Fail(folder_);
  const auto salt = RandomBytes<8>();
  std::string permit =
      HexTime(now + LIFETIME).append("-").append(base::Hex(salt.data(), salt.size()));
  const std::string signature = Signature(permission, permit);
  return permit.append("-").append(signature);
}

bool Permits::Take(const Permission &permission, std::string_view permit, Clock::time_point now) {
  const std::size_t end = permit.rfind('-');
  if (end == permit.npos || permit.size() > MOST_PERMIT) return false;
  const std::string_view expiry = permit.substr(0, end);
  if (!IsEqual(permit.substr(end + 1), Signature(permission, expiry))) return false;
  std::int64_t seconds = 0;
  std::from_chars(expiry.data(), expiry.data() + expiry.size(), seconds, 16);
  if (now.time_since_epoch() > std::chrono::seconds(seconds)) return false;
  Sweep(now);
  return Make(Mark("taken", permission, expiry));
}

std::filesystem::path Permits::Mark(std::string_view kind, const Permission &permission,
                                    std::string_view expiry) {
  return folder_ /
         std::string("permit-").append(kind).append("-").append(Signature(permission, expiry));
}

bool Permits::Make(const std::filesystem::path &file) {
  const base::Descriptor descriptor(
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!descriptor.IsOpen() && errno != EEXIST) Fail(file);
  return descriptor.IsOpen();
}

void Permits::Open(std::string_view client, std::string_view url) {
  const std::filesystem::path mark = Mark("open", {"open", client, url}, "");
  // One that nobody came for is as old as it says.
  unlink(mark.c_str());
  Make(mark);
}

bool Permits::TakeOpened(std::string_view client, std::string_view url,
                         Clock::time_point now) noexcept {
  try {
    const std::filesystem::path mark = Mark("open", {"open", client, url}, "");
    struct stat status;
    if (stat(mark.c_str(), &status) != 0 || unlink(mark.c_str()) != 0) return false;
    return now - Clock::from_time_t(status.st_mtime) <= OPENING;
  } catch (...) {
    return false;
  }
}

void Permits::Sweep(Clock::time_point now) const noexcept {
  std::error_code ignored;
  for (const auto &entry : std::filesystem::directory_iterator(folder_, ignored)) {
    if (!entry.path().filename().string().starts_with("permit-")) continue;
    struct stat status;
    if (stat(entry.path().c_str(), &status) == 0 &&
        now - Clock::from_time_t(status.st_mtime) > LIFETIME) {
      unlink(entry.path().c_str());
    }
  }
}

}  // namespace velmora::host
