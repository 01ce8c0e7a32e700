#include "host/policy/fetched_lists.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <nettle/sha2.h>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <vector>

#include "base/ascii.h"
#include "base/hex.h"

namespace velmora::host {
namespace {

constexpr char FOLDER[] = "lists";
constexpr std::size_t LONGEST_NAME = 200;
/// Of a URL's hash, in its list's name.
constexpr std::size_t HASH_BYTES = 8;

std::string Hash(std::string_view text) {
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, text.size(), reinterpret_cast<const std::uint8_t *>(text.data()));
  sha256_digest(&context, digest.size(), digest.data());
  return base::Hex(digest.data(), HASH_BYTES);
}

/// As much of a URL as a file's name can show.
std::string Readable(std::string_view url) {
  std::string name(url.substr(std::min(url.find("://") + 3, url.size())));
  std::ranges::replace_if(
      name,
      [](char c) {
        return !base::IsLetterAscii(c) && !base::IsDigitAscii(c) && c != '.' && c != '-';
      },
      '_');
  name.resize(std::min(name.size(), LONGEST_NAME));
  return name;
}

/// Does the record beside a list say that it came from this URL?
bool IsFrom(const std::filesystem::path &list, std::string_view url) {
  std::ifstream record(std::filesystem::path(list) += ".json");
  const auto json = nlohmann::json::parse(record, nullptr, false);
  const auto from = json.is_object() ? json.find("url") : json.end();
  return from != json.end() && *from == url;
}

}  // namespace

std::filesystem::path FetchedList(const std::filesystem::path &state_folder, std::string_view url) {
  const std::filesystem::path folder = state_folder / FOLDER;
  std::string name = Readable(url);
  std::filesystem::path without_hash = folder / (name + (name.ends_with(".txt") ? "" : ".txt"));
  if (IsFrom(without_hash, url)) return without_hash;
  if (name.ends_with(".txt")) name.resize(name.size() - 4);
  return folder / name.append("-").append(Hash(url)).append(".txt");
}

std::filesystem::path FetchedListsStamp(const std::filesystem::path &state_folder) {
  return state_folder / FOLDER / "updated";
}

void UseFetchedLists(Policy &policy) {
  std::vector<std::filesystem::path> fetched;
  for (const std::string &url : policy.list_urls) {
    std::filesystem::path file = FetchedList(policy.state_folder, url);
    std::error_code ignored;
    if (std::filesystem::exists(file, ignored)) fetched.push_back(std::move(file));
  }
  const bool stand_beside = policy.ads.lists.empty() && fetched.size() < policy.list_urls.size();
  auto &lists = stand_beside ? policy.ads.extra_lists : policy.ads.lists;
  lists.insert(lists.end(), fetched.begin(), fetched.end());
}

}  // namespace velmora::host
