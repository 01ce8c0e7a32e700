#include "core/ad_blocking.h"

#include <array>

namespace velmora {
namespace {

/// The buffer that a library writes its reason into. Begins with a NUL and ends in one, whatever
/// the library writes.
class ReasonBuffer {
 public:
  ReasonBuffer() noexcept { Clear(); }

  void Clear() noexcept { text_.front() = '\0'; }
  char *data() noexcept { return text_.data(); }
  static constexpr std::size_t size() noexcept { return AD_TEXT_SIZE; }

  /// Copies the reason out when the answer is exactly 1, the only one that comes with a reason.
  void CopyTo(std::string &reason, std::uint8_t answer) {
    text_.back() = '\0';
    if (answer == 1) reason = text_.data();
  }

 private:
  std::array<char, AD_TEXT_SIZE> text_;
};

}  // namespace

void AdBlocking::Leave() const noexcept {
  if (users_.fetch_sub(1) != 1) return;
  if (IAdBlocker *const object = owned_.exchange(nullptr)) object->Release();
}

void AdBlocking::Close() noexcept {
  if (library_.exchange(nullptr) != nullptr) Leave();
}

std::uint8_t AdBlocking::CheckUrl(const std::string &host, const std::string &url,
                                  std::string &reason, bool &exempt) const {
  const AdLibraryUse library(*this);
  if (!library) return 0;
  ReasonBuffer buffer;
  const std::uint8_t answer =
      library->CheckUrl(host.c_str(), url.c_str(), buffer.data(), ReasonBuffer::size(), &exempt);
  buffer.CopyTo(reason, answer);
  return answer;
}

bool AdBlocking::CheckSize(const char *host, std::int32_t width,
                           std::int32_t height) const noexcept {
  const AdLibraryUse library(*this);
  return library && library->CheckSize(host, width, height) != 0;
}

void AdBlocking::CheckLink(const std::string &link, const std::string &host,
                           const std::string &text) const noexcept {
  const AdLibraryUse library(*this);
  if (library) library->CheckLink(link.c_str(), host.c_str(), text.c_str());
}

std::size_t CheckUrlText(IAdBlocker &library, const char *host, std::string_view text,
                         std::size_t count, std::uint8_t &answer, std::string &reason,
                         bool &exempt) {
  ReasonBuffer buffer;
  answer = 0;
  std::size_t asked = 0;
  while (asked < count && answer == 0 && !exempt) {
    buffer.Clear();
    answer = library.CheckUrlText(host, text.data() + asked,
                                  static_cast<std::uint32_t>(text.size() - asked), buffer.data(),
                                  ReasonBuffer::size(), &exempt);
    ++asked;
  }
  buffer.CopyTo(reason, answer);
  return asked;
}

}  // namespace velmora
