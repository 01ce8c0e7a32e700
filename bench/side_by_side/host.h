// The least that a host needs to give pages to a handler.
#pragma once

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <velmora/ad_blocker.h>
#include <velmora/velmora.h>

namespace velmora::bench {

/// Lives where it is declared, whatever its count says.
template <class Interface>
class Uncounted : public Interface {
 public:
  Status QueryInterface(const Identifier *, void **) noexcept override {
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return 1; }
  std::int32_t Release() noexcept override { return 1; }
};

class Context final : public Uncounted<IDataContext> {
 public:
  Context(const char *content_type, std::set<std::int32_t> categories)
      : content_type_(content_type), categories_(std::move(categories)) {}

  const char *GetProperty(std::int32_t property) noexcept override {
    if (property == PROPERTY_CONTENT_TYPE) return content_type_;
    return property == PROPERTY_HOST ? "www.example.com" : "http://www.example.com/dir/page.html";
  }
  const char *GetSetting(const char *) noexcept override { return nullptr; }
  bool IsCategoryEnabled(std::int32_t category) noexcept override {
    return categories_.contains(category);
  }
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override { return block_; }
  void ReportBlocked(std::int32_t, std::int32_t, const char *, const char *) noexcept override {}

 private:
  const char *content_type_;
  std::set<std::int32_t> categories_;
  std::vector<std::uint8_t> block_;
};

/// An ad-blocking library that answers no to everything.
class SilentLibrary final : public Uncounted<IAdBlocker> {
 public:
  std::uint8_t IsReady() noexcept override { return 1; }
  std::uint8_t Reserved4() noexcept override { return 0; }
  std::uint8_t CheckUrl(const char *, const char *, char *, std::size_t, bool *) noexcept override {
    return 0;
  }
  /// Not seen through where it is called, as little as one in another module.
  [[gnu::noinline]] std::uint8_t CheckUrlText(const char *, const char *, std::uint32_t, char *,
                                              std::size_t, bool *) noexcept override {
    asm volatile("");
    return 0;
  }
  std::uint8_t CheckSize(const char *, std::int32_t, std::int32_t) noexcept override { return 0; }
  std::uint8_t CheckLink(const char *, const char *, const char *) noexcept override { return 1; }
};

/// A body on its way: bytes are appended behind, and leave in front once they are final.
class Buffer final : public Uncounted<IDataBuffer> {
 public:
  std::uint8_t *GetData() noexcept override { return bytes_.data() + begin_; }
  std::uint32_t GetSize() noexcept override { return static_cast<std::uint32_t>(end_ - begin_); }
  std::uint32_t GetCommitted() noexcept override { return committed_; }
  void SetCommitted(std::uint32_t position) noexcept override { committed_ = position; }
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *text,
               std::uint32_t new_length) noexcept override {
    if (end_ + new_length > bytes_.size()) bytes_.resize(2 * (end_ + new_length));
    std::uint8_t *const at = GetData() + position;
    std::memmove(at + new_length, at + old_length, GetSize() - position - old_length);
    if (new_length != 0) std::memcpy(at, text, new_length);
    end_ = end_ - old_length + new_length;
    committed_ = committed_ - old_length + new_length;
  }

  void Append(std::string_view piece) {
    if (begin_ != 0) std::memmove(bytes_.data(), GetData(), GetSize());
    end_ -= begin_;
    begin_ = 0;
    if (end_ + piece.size() > bytes_.size()) bytes_.resize(2 * (end_ + piece.size()));
    std::memcpy(bytes_.data() + end_, piece.data(), piece.size());
    end_ += piece.size();
  }
  /// What is final is copied to where a host would send it from.
  std::size_t TakeCommitted(std::vector<std::uint8_t> &sent) {
    if (sent.size() < committed_) sent.resize(committed_);
    std::memcpy(sent.data(), GetData(), committed_);
    begin_ += committed_;
    return std::exchange(committed_, 0);
  }

 private:
  std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(64U << 10);
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint32_t committed_ = 0;
};

/// Gives a body to a handler in slices, as a host does.
inline void Feed(IDataProcessor &handler, std::string_view body, Buffer &buffer,
                 std::vector<std::uint8_t> &sent) {
  static constexpr std::size_t SLICE = 16U << 10;
  std::uint32_t flags = DATA_FLAG_START;
  do {
    buffer.Append(body.substr(0, SLICE));
    body.remove_prefix(std::min(SLICE, body.size()));
    if (body.empty()) flags |= DATA_FLAG_END;
    handler.ProcessData(&buffer, 0, buffer.GetSize(), flags);
    if (body.empty()) buffer.SetCommitted(buffer.GetSize());
    buffer.TakeCommitted(sent);
    flags = 0;
  } while (!body.empty());
}

}  // namespace velmora::bench
