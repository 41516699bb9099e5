// Making, writing and reading of keys and certificates with OpenSSL.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <span>

namespace collector {

struct OpenSslFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Key = std::unique_ptr<EVP_PKEY, OpenSslFree>;
using Certificate = std::unique_ptr<X509, OpenSslFree>;

struct Identity {
  Key key;
  Certificate certificate;
};

struct Extension {
  int nid;
  const char* value;  // In the syntax of OpenSSL's configuration files.
};

struct CertificateRequest {
  const char* commonName;
  std::chrono::days validity;
  std::span<const Extension> extensions;
};

// A new key with its certificate, signed by the issuer, or by itself when there is none.
Identity makeIdentity(const CertificateRequest& request, const Identity* issuer);

// PEM files, the key private to the user, each replaced as a whole. Throw std::runtime_error.
void writeIdentity(const Identity& identity, const std::filesystem::path& certificate,
                   const std::filesystem::path& key);
Identity readIdentity(const std::filesystem::path& certificate, const std::filesystem::path& key);

bool validFor(const Identity& identity, std::chrono::days rest);

}  // namespace collector
