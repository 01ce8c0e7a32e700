#include "host/policy/fetched_lists.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "base/ascii.h"

namespace velmora::host {
namespace {

constexpr char FOLDER[] = "lists";
constexpr std::size_t LONGEST_NAME = 200;

}  // namespace

std::filesystem::path FetchedList(const std::filesystem::path &state_folder, std::string_view url) {
  std::string name(url.substr(std::min(url.find("://") + 3, url.size())));
  std::ranges::replace_if(
      name,
      [](char c) {
        return !base::IsLetterAscii(c) && !base::IsDigitAscii(c) && c != '.' && c != '-';
      },
      '_');
  name.resize(std::min(name.size(), LONGEST_NAME));
  if (!name.ends_with(".txt")) name += ".txt";
  return state_folder / FOLDER / name;
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
