#include "platform/linux/http/CurlHandle.h"

#include <openssl/ssl.h>
#include <unistd.h>

#include <utility>

namespace quarnel {
namespace {

constexpr char kErrorDomain[] = "QuarnelTransportError";
constexpr long kMostRedirects = 10;

// The file of the system's authorities; null when there is none that can be read.
const char* systemAuthorityFile() {
  const char* const file = ::curl_version_info(CURLVERSION_NOW)->cainfo;
  return file != nullptr && ::access(file, R_OK) == 0 ? file : nullptr;
}

// libcurl writes the secrets of each connection to the file that SSLKEYLOGFILE in the environment
// names. With them, whoever recorded the traffic can read it.
CURLcode keepSecrets(CURL* /*handle*/, void* context, void* /*unused*/) {
  ::SSL_CTX_set_keylog_callback(static_cast<SSL_CTX*>(context), nullptr);
  return CURLE_OK;
}

void setUpTls(CURL* curl, const std::optional<std::string>& authorityFile) {
  ::curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  ::curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &keepSecrets);
  if (const char* file = authorityFile ? authorityFile->c_str() : systemAuthorityFile()) {
    ::curl_easy_setopt(curl, CURLOPT_CAINFO, file);
    // Else the system's directory of authorities would be trusted beside a file of the
    // application. Beside the system's file it holds the same, and with a directory libcurl does
    // not keep what it has read: each connection would read all the authorities again, which is
    // most of its cost.
    ::curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }
}

}  // namespace

Error transportError(CURLcode code, std::string description) {
  if (description.empty()) description = ::curl_easy_strerror(code);
  return {kErrorDomain, code, std::move(description)};
}

CurlHandle makeCurlHandle(const HttpSettings& settings, const HttpLimits& limits) {
  CurlHandle handle(::curl_easy_init());
  CURL* const curl = handle.get();
  if (curl == nullptr) return handle;
  ::curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.responseBody));
  ::curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  ::curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
  ::curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
  ::curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  ::curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  ::curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMostRedirects);
  ::curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  setUpTls(curl, settings.authorityFile);
  if (!settings.usesProxyVariables) ::curl_easy_setopt(curl, CURLOPT_PROXY, "");
  // The answer to CONNECT is the proxy's, not the server's.
  ::curl_easy_setopt(curl, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  ::curl_easy_setopt(curl, CURLOPT_MAXAGE_CONN, static_cast<long>(limits::kIdleConnection.count()));
  const auto stall = static_cast<long>(limits.stall.count());
  ::curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, stall);
  ::curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
  ::curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, stall);
  return handle;
}

}  // namespace quarnel
