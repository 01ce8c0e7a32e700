#include "trafficserver/certificates.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <stdexcept>
#include <utility>

#include "base/ascii.h"

namespace velmora::trafficserver {
namespace {

using std::chrono::hours;
using std::chrono::seconds;

/// A client's clock may be behind.
constexpr seconds VALID_BEFORE = hours(24);
/// Some weeks, and a new one is made long before they are over.
constexpr seconds VALID_AFTER = hours(24 * 30);
constexpr seconds RENEWED_AFTER = hours(24 * 7);
/// Kept at once; a few kilobytes each.
constexpr std::size_t MOST_KEPT = 10'000;
/// A serial number has 20 bytes at most, and nobody else's is to be the same.
constexpr std::size_t SERIAL_SIZE = 16;
constexpr std::size_t LONGEST_COMMON_NAME = 64;
constexpr std::size_t LONGEST_SITE = 253;

[[noreturn]] void Fail(const std::string &what) {
  std::array<char, 256> why{};
  ERR_error_string_n(ERR_get_error(), why.data(), why.size());
  ERR_clear_error();
  throw std::runtime_error(what + ": " + why.data());
}

void Check(bool is_done) {
  if (!is_done) Fail("no certificate can be made");
}

template <class Object>
Object *Read(const std::filesystem::path &file,
             Object *(*read)(std::FILE *, Object **, pem_password_cb *, void *)) {
  struct Close {
    void operator()(std::FILE *open) const noexcept { std::fclose(open); }
  };
  const std::unique_ptr<std::FILE, Close> open(std::fopen(file.c_str(), "re"));
  if (!open) throw std::runtime_error(file.string() + ": cannot be read");
  Object *const object = read(open.get(), nullptr, nullptr, nullptr);
  if (object == nullptr) Fail(file.string());
  return object;
}

/// In a certificate's text anything else would mean something.
bool IsName(std::string_view site) noexcept {
  return !site.empty() && site.size() <= LONGEST_SITE && std::ranges::all_of(site, [](char c) {
    return base::IsLetterAscii(c) || base::IsDigitAscii(c) || c == '-' || c == '.' || c == '_';
  });
}

bool IsAddress(const std::string &site) noexcept {
  ASN1_OCTET_STRING *const address = a2i_IPADDRESS(site.c_str());
  ASN1_OCTET_STRING_free(address);
  ERR_clear_error();
  return address != nullptr;
}

void AddExtension(X509 *certificate, X509V3_CTX &context, int kind, const char *value) {
  X509_EXTENSION *const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  Check(extension != nullptr);
  const bool is_added = X509_add_ext(certificate, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  Check(is_added);
}

void SetSubject(X509 *certificate, const std::string &site) {
  const bool fits = site.size() <= LONGEST_COMMON_NAME;
  const std::string &text = fits ? site : "Velmora";
  Check(X509_NAME_add_entry_by_NID(X509_get_subject_name(certificate),
                                   fits ? NID_commonName : NID_organizationName, MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char *>(text.data()),
                                   static_cast<int>(text.size()), -1, 0) == 1);
}

void SetSerial(X509 *certificate) {
  std::array<unsigned char, SERIAL_SIZE> bytes{};
  Check(RAND_bytes(bytes.data(), bytes.size()) == 1);
  bytes.front() &= 0x7F;
  BIGNUM *const number = BN_bin2bn(bytes.data(), bytes.size(), nullptr);
  Check(number != nullptr);
  const bool is_set = BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate)) != nullptr;
  BN_free(number);
  Check(is_set);
}

}  // namespace

Certificates::Certificates(const std::filesystem::path &folder)
    : authority_key_(Read<EVP_PKEY>(folder / "key.pem", PEM_read_PrivateKey)),
      authority_(Read<X509>(folder / "velmora-proxy.crt", PEM_read_X509)),
      key_(EVP_EC_gen("P-256")) {
  if (X509_check_private_key(authority_.get(), authority_key_.get()) != 1) {
    Fail(folder.string() + ": the key is not the certificate's");
  }
  Check(key_ != nullptr);
}

void Certificates::Show(SSL *connection, std::string_view site) {
  std::string name(site);
  std::ranges::transform(name, name.begin(), base::ToLowerAscii);
  const Certificate certificate = For(name);
  Check(SSL_use_certificate(connection, certificate.get()) == 1 &&
        SSL_use_PrivateKey(connection, key_.get()) == 1);
}

Certificates::Certificate Certificates::For(const std::string &site) {
  const auto now = std::chrono::steady_clock::now();
  {
    const base::MutexLock lock(mutex_);
    const auto found = made_.find(site);
    if (found != made_.end() && now - found->second.time < RENEWED_AFTER) {
      X509_up_ref(found->second.certificate.get());
      return Certificate(found->second.certificate.get());
    }
  }
  // Two threads may make the same at once: both are good.
  Certificate made = Make(site);
  X509_up_ref(made.get());
  Certificate kept(made.get());
  const base::MutexLock lock(mutex_);
  if (made_.size() >= MOST_KEPT) made_.clear();
  made_.insert_or_assign(site, Made{std::move(kept), now});
  return made;
}

Certificates::Certificate Certificates::Make(const std::string &site) const {
  Certificate certificate(X509_new());
  Check(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
  SetSerial(certificate.get());
  SetSubject(certificate.get(), site);
  Check(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -VALID_BEFORE.count()) != nullptr &&
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), VALID_AFTER.count()) != nullptr);
  Check(X509_set_issuer_name(certificate.get(), X509_get_subject_name(authority_.get())) == 1 &&
        X509_set_pubkey(certificate.get(), key_.get()) == 1);
  AddExtensions(certificate.get(), authority_.get(), site);
  Check(X509_sign(certificate.get(), authority_key_.get(), EVP_sha256()) > 0);
  return certificate;
}

void Certificates::AddExtensions(X509 *certificate, X509 *issuer, const std::string &site) {
  const bool is_address = IsAddress(site);
  if (!is_address && !IsName(site)) throw std::runtime_error("no certificate has such a name");
  const std::string names = (is_address ? "IP:" : "DNS:") + site;
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  for (const auto &[kind, value] : {
           std::pair{NID_basic_constraints, "critical,CA:FALSE"},
           std::pair{NID_key_usage, "critical,digitalSignature"},
           std::pair{NID_ext_key_usage, "serverAuth"},
           std::pair{NID_authority_key_identifier, "keyid"},
           std::pair{NID_subject_alt_name, names.c_str()},
       }) {
    AddExtension(certificate, context, kind, value);
  }
}

}  // namespace velmora::trafficserver
