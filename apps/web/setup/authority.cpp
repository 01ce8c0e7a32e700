#include "web/setup/authority.h"

#include <array>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <stdexcept>

namespace velmora::web {
namespace {

template <auto FREE>
struct Freeing {
  template <class Type>
  void operator()(Type *object) const noexcept {
    FREE(object);
  }
};

using Certificate = std::unique_ptr<X509, Freeing<X509_free>>;
using Bytes = std::unique_ptr<BIO, Freeing<BIO_free>>;

std::string Text(const Bytes &bytes) {
  char *data = nullptr;
  const long size = BIO_get_mem_data(bytes.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

std::string Fingerprint(const X509 &certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  X509_digest(&certificate, EVP_sha256(), digest.data(), &size);
  return fmt::format("{:02X}", fmt::join(digest.begin(), digest.begin() + size, ":"));
}

std::string Name(const X509 &certificate) {
  std::array<char, 256> name{};
  X509_NAME_get_text_by_NID(X509_get_subject_name(&certificate), NID_commonName, name.data(),
                            static_cast<int>(name.size()));
  return name.data();
}

std::string Day(const ASN1_TIME *time) {
  std::tm day{};
  return ASN1_TIME_to_tm(time, &day) == 1 ? fmt::format("{:%Y-%m-%d}", day) : std::string();
}

}  // namespace

std::optional<Authority> ReadAuthority(const std::filesystem::path &file) {
  if (file.empty() || !std::filesystem::exists(file)) return std::nullopt;
  const Bytes input(BIO_new_file(file.c_str(), "r"));
  const Certificate certificate(input ? PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr)
                                      : nullptr);
  if (!certificate) throw std::runtime_error(file.string() + ": no certificate, or not readable");
  const Bytes pem(BIO_new(BIO_s_mem()));
  const Bytes der(BIO_new(BIO_s_mem()));
  if (!pem || !der || PEM_write_bio_X509(pem.get(), certificate.get()) != 1 ||
      i2d_X509_bio(der.get(), certificate.get()) != 1) {
    throw std::bad_alloc();
  }
  return Authority{.name = Name(*certificate),
                   .fingerprint = Fingerprint(*certificate),
                   .expires = Day(X509_get0_notAfter(certificate.get())),
                   .pem = Text(pem),
                   .der = Text(der)};
}

}  // namespace velmora::web
