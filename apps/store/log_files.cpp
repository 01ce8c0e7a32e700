#include "store/log_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <nettle/sha2.h>
#include <new>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <tuple>
#include <unistd.h>
#include <zlib.h>

namespace velmora::store {
namespace {

constexpr std::size_t PIECE = 1U << 20;
/// So much of a first line says which file it is.
constexpr std::size_t MOST_OF_FIRST_LINE = 64U << 10;

/// "1", "2.gz", "20260301", "20260301-1700000000.gz": what follows the log's name and "." or "-".
bool IsRotated(std::string_view end) {
  if (end.ends_with(".gz")) end.remove_suffix(3);
  return !end.empty() && end.find_first_not_of("0123456789-") == end.npos && end.front() != '-';
}

/// What was rotated first comes first: the higher number, the earlier date.
auto Order(const std::filesystem::path &file, std::size_t prefix) {
  const std::string name = file.filename().string();
  const std::string digits = name.substr(prefix + 1, name.find(".gz", prefix) - prefix - 1);
  const bool is_number = name[prefix] == '.';
  // Numbers stand for ages, shorter ones for lesser ones; dates for themselves.
  const long number = is_number ? -std::strtol(digits.c_str(), nullptr, 10) : 0;
  return std::tuple(is_number, number, digits);
}

}  // namespace

std::vector<std::filesystem::path> FilesOfLog(const std::filesystem::path &log) {
  std::vector<std::filesystem::path> files;
  const std::string name = log.filename().string();
  const std::filesystem::path folder = log.parent_path().empty() ? "." : log.parent_path();
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    const std::string other = entry.path().filename().string();
    if (!other.starts_with(name) || other.size() < name.size() + 2) continue;
    const char mark = other[name.size()];
    if ((mark == '.' || mark == '-') &&
        IsRotated(std::string_view(other).substr(name.size() + 1))) {
      files.push_back(entry.path());
    }
  }
  std::ranges::sort(files, {}, [&](const auto &file) { return Order(file, name.size()); });
  if (std::filesystem::exists(log)) files.push_back(log);
  return files;
}

void LogFile::Closer::operator()(gzFile_s *file) const noexcept {
  gzclose(file);
}

LogFile::LogFile(const std::filesystem::path &file) : path_(file) {
  // A pipe would have to be waited for.
  descriptor_ = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), file.string());
  file_.reset(gzdopen(descriptor_, "rb"));
  if (!file_) {
    close(descriptor_);
    throw std::bad_alloc();
  }
  gzbuffer(file_.get(), 256U << 10);
}

bool LogFile::IsCompressed() const noexcept {
  return gzdirect(file_.get()) == 0;
}

std::int64_t LogFile::Size() const {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) {
    throw std::system_error(errno, std::generic_category(), path_.string());
  }
  return status.st_size;
}

std::string LogFile::ReadPiece(std::size_t size) {
  std::string bytes(size, '\0');
  const int length = gzread(file_.get(), bytes.data(), static_cast<unsigned>(size));
  if (length < 0) {
    int code = Z_OK;
    const char *const words = gzerror(file_.get(), &code);
    if (code == Z_ERRNO) throw std::system_error(errno, std::generic_category(), path_.string());
    throw std::runtime_error(std::string(words));
  }
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

std::string LogFile::FirstLine() {
  Seek(0);
  std::string begin;
  std::size_t end = begin.npos;
  while (end == begin.npos && begin.size() < MOST_OF_FIRST_LINE) {
    const std::string piece = ReadPiece(4096);
    if (piece.empty()) break;
    begin += piece;
    end = begin.find('\n');
  }
  Seek(0);
  if (end == begin.npos && begin.size() < MOST_OF_FIRST_LINE) return {};
  begin.resize(std::min({end, begin.size(), MOST_OF_FIRST_LINE}));
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, begin.size(), reinterpret_cast<const std::uint8_t *>(begin.data()));
  std::string digest(SHA256_DIGEST_SIZE, '\0');
  sha256_digest(&context, digest.size(), reinterpret_cast<std::uint8_t *>(digest.data()));
  return digest;
}

bool LogFile::Seek(std::int64_t position) {
  splitter_.Clear();
  begun_ = 0;
  position_ = position;
  // In a file that is not compressed one can go beyond the end.
  if (!IsCompressed() && Size() < position) return false;
  return gzseek(file_.get(), position, SEEK_SET) == position;
}

bool LogFile::Read(std::vector<std::string> &lines) {
  const std::string bytes = ReadPiece(PIECE);
  splitter_.Split(bytes, lines);
  begun_ += static_cast<std::int64_t>(bytes.size());
  if (const std::size_t last = bytes.rfind('\n'); last != bytes.npos) {
    const auto rest = static_cast<std::int64_t>(bytes.size() - last - 1);
    position_ += begun_ - rest;
    begun_ = rest;
  }
  return !bytes.empty();
}

}  // namespace velmora::store
