#include "html/converter.h"

#include <cerrno>
#include <iconv.h>
#include <utility>

#include "base/no_memory.h"

namespace velmora {

Converter::Converter(const char *to, const char *from) noexcept : handle_(libiconv_open(to, from)) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): how libiconv says that it failed
  if (handle_ != reinterpret_cast<iconv_t>(-1)) return;
  handle_ = nullptr;
  if (errno == ENOMEM) base::TellNoMemory();
}

bool Converter::Close() noexcept {
  void *const handle = std::exchange(handle_, nullptr);
  return handle == nullptr || libiconv_close(handle) == 0;
}

std::size_t Converter::Convert(const char *&input, std::size_t &input_left, char *&output,
                               std::size_t &room_left) const noexcept {
  return libiconv(handle_, &input, &input_left, &output, &room_left);
}

}  // namespace velmora
