#include "web/secrets.h"

#include <array>
#include <cerrno>
#include <openssl/crypto.h>
#include <sys/random.h>
#include <system_error>

namespace velmora::web {

std::string RandomWord() {
  constexpr char DIGITS[] = "abcdefghijklmnopqrstuvwxyz234567";
  std::array<unsigned char, 32> bytes;
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  std::string word;
  for (const unsigned char byte : bytes) word += DIGITS[byte & 31U];
  return word;
}

bool AreEqual(std::string_view one, std::string_view other) noexcept {
  return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

}  // namespace velmora::web
