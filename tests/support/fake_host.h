// A host for tests: a body buffer and a transaction's context that record what the plug-in does.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/fake_object.h"

namespace velmora::testing {

/// One recorded `ReportBlocked`.
struct Report {
  std::int32_t category;
  std::string item;
  std::string detail;

  friend bool operator==(const Report &, const Report &) = default;
  friend std::ostream &operator<<(std::ostream &out, const Report &report) {
    return out << report.category << " [" << report.item << "] [" << report.detail << "]";
  }
};

/// Counts what it hears of.
class FakeTroubleListener final : public FakeObject<ITroubleListener> {
 public:
  void OnUnexamined() noexcept override { ++unexamined; }
  std::uint64_t MostMisreadBytes() noexcept override { return most_misread_bytes; }
  void OnMisreadBytes() noexcept override { ++misread; }

  int unexamined = 0;
  std::uint64_t most_misread_bytes = 64U << 20;
  int misread = 0;
};

/// A page's security policy that asks for a nonce until it has another.
class FakePageProtection final : public FakeObject<IPageProtection> {
 public:
  const char *ScriptNonce() noexcept override { return nonce; }
  void OnScriptLeftOut(std::int32_t category) noexcept override {
    told.push_back("left out " + std::to_string(category));
  }
  void OnSecurityPolicy(const char *policy) noexcept override {
    told.push_back(std::string("policy ") + policy);
    nonce = nonce_behind_meta;
  }
  void OnPinnedScript(const char *value, const char *address) noexcept override {
    told.push_back(std::string("pinned ") + value + " " + address);
  }

  const char *nonce = nullptr;
  const char *nonce_behind_meta = nullptr;
  std::vector<std::string> told;
};

/// Keeps all elements of some names, decides about those of others, and leaves the rest to the
/// library, or says of it what is none of the answers.
class FakeAdReview final : public FakeObject<IAdReview> {
 public:
  std::int32_t WhoDecides(const char *tag) noexcept override {
    return kept.contains(tag) ? AD_REVIEW_NOBODY : decided.contains(tag) ? AD_REVIEW_HOST : others;
  }
  const char *ReasonToRemove(const char *tag, const char *value,
                             const char *url) noexcept override {
    asked.push_back(std::string(tag) + " " + value + " " + url);
    return std::string_view(value).starts_with("own") ? "own rule" : nullptr;
  }
  std::uint8_t IsKept(const char *, const char *, const char *) noexcept override { return 0; }

  std::set<std::string, std::less<>> kept;
  std::set<std::string, std::less<>> decided;
  std::int32_t others = AD_REVIEW_LIBRARY;
  std::vector<std::string> asked;
};

class FakeContext final : public FakeObject<IDataContext> {
 public:
  FakeContext() { references = 0; }

  Status QueryInterface(const Identifier *identifier, void **output) noexcept override {
    if (protection != nullptr && *identifier == ID_PageProtection) {
      protection->AddRef();
      *output = static_cast<IPageProtection *>(protection);
      return RESULT_OK;
    }
    if (review != nullptr && *identifier == ID_AdReview) {
      review->AddRef();
      *output = static_cast<IAdReview *>(review);
      return RESULT_OK;
    }
    if (!listens || *identifier != ID_TroubleListener) return RESULT_NO_INTERFACE;
    listener.AddRef();
    *output = static_cast<ITroubleListener *>(&listener);
    return RESULT_OK;
  }

  const char *GetProperty(std::int32_t property) noexcept override {
    asked.push_back(property);
    const std::optional<std::string> &value = property == PROPERTY_URL    ? url
                                              : property == PROPERTY_HOST ? host
                                                                          : content_type;
    return value ? value->c_str() : nullptr;
  }
  const char *GetSetting(const char *name) noexcept override {
    const auto setting = settings.find(name);
    return setting == settings.end() ? nullptr : setting->second.c_str();
  }
  bool IsCategoryEnabled(std::int32_t category) noexcept override {
    asked.push_back(category);
    return categories.contains(category);
  }
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override { return option_block; }
  void ReportBlocked(std::int32_t count, std::int32_t category, const char *item,
                     const char *detail) noexcept override {
    reported_count += count;
    reports.push_back({category, item, detail});
  }

  /// Does the host want to hear of trouble?
  bool listens = false;
  /// Null: it knows nothing of what protects a page.
  FakePageProtection *protection = nullptr;
  FakeTroubleListener listener;
  /// Null: it keeps nothing.
  FakeAdReview *review = nullptr;

  std::optional<std::string> url = "http://www.example.com/dir/page.html";
  std::optional<std::string> host = "www.example.com";
  std::optional<std::string> content_type = "text/html";
  std::map<std::string, std::string> settings;
  std::set<std::int32_t> categories;
  std::vector<std::uint8_t> option_block;

  /// The properties and categories asked for, in order.
  std::vector<std::int32_t> asked;
  std::vector<Report> reports;
  std::int32_t reported_count = 0;
};

/// Where a commit mark stands after an edit.
inline std::uint32_t MarkAfterEdit(std::uint32_t mark, std::uint32_t position,
                                   std::uint32_t old_length, std::uint32_t new_length) {
  if (mark >= position + old_length) return mark - old_length + new_length;
  return mark > position ? position + new_length : mark;
}

/// Holds the bytes of one body that are not sent on yet, as a host does.
class FakeBuffer final : public FakeObject<IDataBuffer> {
 public:
  explicit FakeBuffer(std::string_view held = {}) : bytes(held), committed(Size()) {}

  std::uint8_t *GetData() noexcept override {
    return reinterpret_cast<std::uint8_t *>(bytes.data());
  }
  std::uint32_t GetSize() noexcept override { return Size(); }
  std::uint32_t GetCommitted() noexcept override { return committed; }
  void SetCommitted(std::uint32_t position) noexcept override { committed = position; }
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *text,
               std::uint32_t new_length) noexcept override {
    ++replacements;
    if (position > Size()) return;
    old_length = std::min(old_length, Size() - position);
    bytes.replace(position, old_length,
                  std::string(reinterpret_cast<const char *>(text), new_length));
    committed = MarkAfterEdit(committed, position, old_length, new_length);
  }

  void Append(std::string_view text) { bytes += text; }
  std::string_view Held() const { return bytes; }
  /// Takes the committed bytes out, as a host that sends them on.
  std::string TakeCommitted() {
    std::string sent = bytes.substr(0, committed);
    bytes.erase(0, committed);
    committed = 0;
    return sent;
  }

  std::string bytes;
  std::uint32_t committed = 0;
  int replacements = 0;

 private:
  std::uint32_t Size() const { return static_cast<std::uint32_t>(bytes.size()); }
};

/// Feeds a body to a processor in the given pieces and returns all that the host sends on. After
/// the last call the bytes after the final commit position are sent on too.
template <class Buffer = FakeBuffer>
std::string Feed(IDataProcessor &processor, const std::vector<std::string_view> &pieces) {
  Buffer buffer;
  std::string sent;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    buffer.Append(pieces[i]);
    const std::uint32_t flags =
        (i == 0 ? DATA_FLAG_START : 0U) | (i + 1 == pieces.size() ? DATA_FLAG_END : 0U);
    processor.ProcessData(&buffer, 0, buffer.GetSize(), flags);
    sent += buffer.TakeCommitted();
  }
  return sent.append(buffer.Held());
}

}  // namespace velmora::testing
