#include "Certificates.h"

#include <fcntl.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "X509Tools.h"

namespace collector {
namespace {

using std::chrono::days;

// Two collectors that start in one folder at the same time must agree on the authority.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder)
      : file_(open((folder / "lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
    if (file_ < 0 || flock(file_, LOCK_EX) != 0) {
      const std::system_error failure(errno, std::generic_category(),
                                      "cannot write to " + folder.string());
      if (file_ >= 0) close(file_);
      throw failure;
    }
  }
  ~FolderLock() { close(file_); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int file_;
};

// The constraint to loopback names makes the authority worthless to whoever steals its key.
constexpr Extension kAuthorityExtensions[] = {
    {NID_basic_constraints, "critical,CA:TRUE,pathlen:0"},
    {NID_key_usage, "critical,keyCertSign,cRLSign"},
    {NID_name_constraints,
     "critical,permitted;DNS:localhost,permitted;IP:127.0.0.1/255.255.255.255,"
     "permitted;IP:::1/ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    {NID_subject_key_identifier, "hash"}};

// TLS libraries differ over a wildcard right below a top-level name, so a name for each service
// stands beside it.
constexpr Extension kServerExtensions[] = {
    {NID_basic_constraints, "critical,CA:FALSE"},
    {NID_key_usage, "critical,digitalSignature"},
    {NID_ext_key_usage, "serverAuth"},
    {NID_subject_alt_name,
     "DNS:localhost,DNS:*.localhost,DNS:launches.localhost,DNS:events.localhost,"
     "DNS:stats.localhost,DNS:conversions.localhost,DNS:services.localhost,"
     "DNS:register.localhost,IP:127.0.0.1,IP:::1"},
    {NID_subject_key_identifier, "hash"},
    {NID_authority_key_identifier, "keyid"}};

// The authority must outlive the server certificates that it issues.
constexpr CertificateRequest kAuthorityRequest{"quarnel-collector authority", days(3650),
                                               kAuthorityExtensions};
constexpr CertificateRequest kServerRequest{"localhost", days(365), kServerExtensions};
constexpr days kRenewal{30};

Identity obtainAuthority(const std::filesystem::path& certificate,
                         const std::filesystem::path& key) {
  if (std::filesystem::exists(certificate) || std::filesystem::exists(key)) {
    Identity authority = readIdentity(certificate, key);
    if (validFor(authority, kServerRequest.validity)) return authority;
  }
  Identity authority = makeIdentity(kAuthorityRequest, nullptr);
  writeIdentity(authority, certificate, key);
  return authority;
}

bool serves(const std::filesystem::path& certificate, const std::filesystem::path& key,
            const Identity& authority) {
  try {
    const Identity server = readIdentity(certificate, key);
    return validFor(server, kRenewal) &&
           X509_verify(server.certificate.get(), authority.key.get()) == 1;
  } catch (const std::runtime_error&) {
    return false;  // Nobody trusts it by itself, so a missing or damaged one is simply made anew.
  }
}

}  // namespace

Certificates::Certificates(const std::filesystem::path& folder)
    : authority_(folder / "ca.pem"),
      server_(folder / "server.pem"),
      serverKey_(folder / "server-key.pem") {
  const FolderLock lock(folder);
  const Identity authority = obtainAuthority(authority_, folder / "ca-key.pem");
  if (!serves(server_, serverKey_, authority)) {
    writeIdentity(makeIdentity(kServerRequest, &authority), server_, serverKey_);
  }
}

}  // namespace collector
