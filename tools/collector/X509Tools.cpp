#include "X509Tools.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <ctime>
#include <stdexcept>
#include <string>

namespace collector {
namespace {

[[noreturn]] void fail(const std::string& what) {
  std::array<char, 256> reason{};
  ERR_error_string_n(ERR_get_error(), reason.data(), reason.size());
  ERR_clear_error();
  throw std::runtime_error(what + " (" + reason.data() + ")");
}

void require(bool success, const char* what) {
  if (!success) fail(what);
}

struct Free {
  void operator()(BIO* bio) const { BIO_free(bio); }
  void operator()(BIGNUM* number) const { BN_free(number); }
  void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
};
using Bio = std::unique_ptr<BIO, Free>;

void setRandomSerial(X509* certificate) {
  const std::unique_ptr<BIGNUM, Free> number(BN_new());
  require(number && BN_rand(number.get(), 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) &&
              BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)),
          "cannot make a serial number");
}

void setValidity(X509* certificate, std::chrono::days validity) {
  // From yesterday on, for devices whose clock is late.
  require(X509_gmtime_adj(X509_getm_notBefore(certificate), -86400) &&
              X509_time_adj_ex(X509_getm_notAfter(certificate), static_cast<int>(validity.count()),
                               0, nullptr),
          "cannot set the validity of a certificate");
}

void addExtension(X509* certificate, X509* issuer, const Extension& extension) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Free> made(
      X509V3_EXT_conf_nid(nullptr, &context, extension.nid, extension.value));
  require(made && X509_add_ext(certificate, made.get(), -1), "cannot add an extension");
}

template <typename Write>
void writeFile(const std::filesystem::path& file, Write write) {
  const std::filesystem::path part = file.native() + ".part";
  Bio bio(BIO_new_file(part.c_str(), "w"));
  if (!bio || !write(bio.get()) || BIO_flush(bio.get()) != 1) fail("cannot write " + part.string());
  bio.reset();
  std::filesystem::rename(part, file);
}

template <typename Read>
auto readFile(const std::filesystem::path& file, Read read) {
  const Bio bio(BIO_new_file(file.c_str(), "r"));
  auto* object = bio ? read(bio.get()) : nullptr;
  if (!object) fail("cannot read " + file.string());
  return object;
}

}  // namespace

Identity makeIdentity(const CertificateRequest& request, const Identity* issuer) {
  Identity made{Key(EVP_EC_gen("P-256")), Certificate(X509_new())};
  X509* certificate = made.certificate.get();
  require(made.key && certificate, "cannot make a key");
  X509* issuing = issuer ? issuer->certificate.get() : certificate;

  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* text = reinterpret_cast<const unsigned char*>(request.commonName);
  require(X509_set_version(certificate, X509_VERSION_3) &&
              X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0) &&
              X509_set_issuer_name(certificate, X509_get_subject_name(issuing)) &&
              X509_set_pubkey(certificate, made.key.get()),
          "cannot make a certificate");
  setRandomSerial(certificate);
  setValidity(certificate, request.validity);
  for (const Extension& extension : request.extensions) {
    addExtension(certificate, issuing, extension);
  }
  EVP_PKEY* signer = issuer ? issuer->key.get() : made.key.get();
  require(X509_sign(certificate, signer, EVP_sha256()) > 0, "cannot sign a certificate");
  return made;
}

void writeIdentity(const Identity& identity, const std::filesystem::path& certificate,
                   const std::filesystem::path& key) {
  writeFile(key, [&](BIO* bio) {
    return PEM_write_bio_PKCS8PrivateKey(bio, identity.key.get(), nullptr, nullptr, 0, nullptr,
                                         nullptr);
  });
  writeFile(certificate,
            [&](BIO* bio) { return PEM_write_bio_X509(bio, identity.certificate.get()); });
}

Identity readIdentity(const std::filesystem::path& certificate, const std::filesystem::path& key) {
  Identity read;
  read.key.reset(readFile(
      key, [](BIO* bio) { return PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr); }));
  read.certificate.reset(readFile(
      certificate, [](BIO* bio) { return PEM_read_bio_X509(bio, nullptr, nullptr, nullptr); }));
  if (X509_check_private_key(read.certificate.get(), read.key.get()) != 1) {
    fail(key.string() + " is not the key of " + certificate.string());
  }
  return read;
}

bool validFor(const Identity& identity, std::chrono::days rest) {
  std::time_t now = std::time(nullptr);
  std::time_t then = now + std::chrono::seconds(rest).count();
  const X509* certificate = identity.certificate.get();
  return X509_cmp_time(X509_get0_notBefore(certificate), &now) < 0 &&
         X509_cmp_time(X509_get0_notAfter(certificate), &then) > 0;
}

}  // namespace collector
