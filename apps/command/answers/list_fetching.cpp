#include "command/answers/list_fetching.h"

#include <algorithm>
#include <charconv>
#include <curl/curl.h>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "base/ascii.h"
#include "command/answers/files.h"
#include "host/events/event.h"
#include "matcher/loader.h"

namespace velmora::command {
namespace {

constexpr std::size_t MOST_BYTES = 64U << 20;
constexpr long MOST_SECONDS = 120;
constexpr long MOST_SECONDS_TO_CONNECT = 15;
constexpr long MOST_REDIRECTIONS = 5;
constexpr long OK = 200;
constexpr long NOT_MODIFIED = 304;
/// A list's title and such stand in so many lines.
constexpr int HEAD_LINES = 40;

struct CloseTransfer {
  void operator()(CURL *transfer) const noexcept { curl_easy_cleanup(transfer); }
};
struct FreeHeaders {
  void operator()(curl_slist *headers) const noexcept { curl_slist_free_all(headers); }
};

struct Answer {
  long status = 0;
  std::string body{};
  std::string etag{};
  std::string modified{};
};

std::size_t TakeBody(char *bytes, std::size_t, std::size_t size, void *user) {
  std::string &body = static_cast<Answer *>(user)->body;
  // Fewer than were given end the transfer.
  if (body.size() + size > MOST_BYTES) return 0;
  body.append(bytes, size);
  return size;
}

std::string LastHeader(CURL *transfer, const char *name) {
  curl_header *header = nullptr;
  if (curl_easy_header(transfer, name, 0, CURLH_HEADER, -1, &header) != CURLHE_OK) return {};
  return header->value;
}

/// Throws `std::runtime_error` where there is no answer.
Answer Get(const FetchRecord &record, const FetchOptions &options) {
  const std::unique_ptr<CURL, CloseTransfer> transfer(curl_easy_init());
  if (transfer == nullptr) throw std::bad_alloc();
  CURL *const curl = transfer.get();
  Answer answer;
  std::unique_ptr<curl_slist, FreeHeaders> headers;
  const auto ask = [&](const std::string &header) {
    headers.reset(curl_slist_append(headers.release(), header.c_str()));
  };
  if (!record.etag.empty()) ask("If-None-Match: " + record.etag);
  if (!record.modified.empty()) ask("If-Modified-Since: " + record.modified);
  curl_easy_setopt(curl, CURLOPT_URL, record.url.c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXREDIRS, MOST_REDIRECTIONS);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, MOST_SECONDS);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, MOST_SECONDS_TO_CONNECT);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "velmora/" VELMORA_VERSION);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  if (!options.proxy.empty()) curl_easy_setopt(curl, CURLOPT_PROXY, options.proxy.c_str());
  if (options.is_direct) curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &TakeBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
  const CURLcode code = curl_easy_perform(curl);
  if (code == CURLE_WRITE_ERROR) throw std::runtime_error("is larger than 64 MiB");
  if (code != CURLE_OK) throw std::runtime_error(curl_easy_strerror(code));
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
  answer.etag = LastHeader(curl, "ETag");
  answer.modified = LastHeader(curl, "Last-Modified");
  return answer;
}

std::filesystem::path RecordOf(const std::filesystem::path &list) {
  return std::filesystem::path(list) += ".json";
}

void Write(const std::filesystem::path &file, std::string_view text) {
  Output output(file);
  output.Write(text);
  output.Finish();
}

void WriteRecord(const std::filesystem::path &list, const FetchRecord &record) {
  nlohmann::ordered_json json;
  json["url"] = record.url;
  json["etag"] = record.etag;
  json["modified"] = record.modified;
  json["checked"] = host::TimeText(std::chrono::system_clock::now());
  Write(RecordOf(list), json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

std::optional<std::string> ReadText(const std::filesystem::path &file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

std::uint32_t CountRules(std::string text) {
  std::vector<adblock::ListText> lists;
  lists.push_back({.name = "list", .text = std::move(text)});
  const auto loaded = adblock::LoadRules(lists, {});
  return loaded.rules->Compiled().lists[0].counts.rules;
}

/// What speaks against an answer that came whole; empty: nothing.
std::string Fault(const Answer &answer, FetchResult &result, bool takes_less) {
  if (answer.status != OK) return fmt::format("the server answers {}", answer.status);
  if (base::TrimWebSpace(answer.body).starts_with('<')) return "is a web page, not a list";
  result.rules = CountRules(answer.body);
  if (result.rules == 0) return "holds no rule";
  if (result.rules_before && result.rules < *result.rules_before / 2 && !takes_less) {
    return fmt::format("has {} rules where the one before has {}; --take-less takes it",
                       result.rules, *result.rules_before);
  }
  return {};
}

/// "4 days (update frequency)", "12 hours", "1 day".
std::optional<std::chrono::hours> ParseExpiry(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number <= 0 || number > 1000) return std::nullopt;
  const auto unit = base::TrimWebSpace(text.substr(static_cast<std::size_t>(end - text.data())));
  const bool is_hours = base::StartsWithNoCase(unit, "h");
  return std::chrono::hours(is_hours ? number : number * 24);
}

}  // namespace

FetchRecord ReadFetchRecord(const std::filesystem::path &list) {
  const auto text = ReadText(RecordOf(list));
  const auto json = nlohmann::json::parse(text.value_or(""), nullptr, false);
  if (!json.is_object()) return {};
  try {
    return {.url = json.value("url", ""),
            .etag = json.value("etag", ""),
            .modified = json.value("modified", ""),
            .checked = host::ParseTime(json.value("checked", ""))};
  } catch (const nlohmann::json::type_error &) {
    return {};
  }
}

ListHead ReadListHead(std::string_view text) {
  ListHead head;
  for (int line = 0; line < HEAD_LINES && !text.empty(); ++line) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view comment = base::TrimWebSpace(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!comment.starts_with('!') && !comment.starts_with('#')) continue;
    comment = base::TrimWebSpace(comment.substr(1));
    const std::size_t colon = std::min(comment.find(':'), comment.size());
    const auto value = base::TrimWebSpace(comment.substr(std::min(colon + 1, comment.size())));
    if (base::EqualNoCase(comment.substr(0, colon), "Title")) head.title = value;
    if (base::EqualNoCase(comment.substr(0, colon), "Expires")) head.expires = ParseExpiry(value);
  }
  return head;
}

FetchResult FetchList(const std::string &url, const std::filesystem::path &file,
                      const FetchOptions &options) {
  FetchResult result;
  const auto before = ReadText(file);
  FetchRecord record = before ? ReadFetchRecord(file) : FetchRecord();
  if (record.url != url) record = {.url = url};
  if (before) result.rules_before = CountRules(*before);
  Answer answer;
  try {
    answer = Get(record, options);
  } catch (const std::runtime_error &error) {
    result.reason = error.what();
    return result;
  }
  if (before && answer.status == NOT_MODIFIED) {
    result.kind = FetchResult::Kind::UNCHANGED;
    WriteRecord(file, record);
    return result;
  }
  result.reason = Fault(answer, result, options.takes_less);
  if (!result.reason.empty()) return result;
  const bool is_same = before == answer.body;
  if (!is_same) Write(file, answer.body);
  WriteRecord(file, {.url = url, .etag = answer.etag, .modified = answer.modified});
  result.kind = is_same ? FetchResult::Kind::UNCHANGED : FetchResult::Kind::NEW;
  return result;
}

}  // namespace velmora::command
