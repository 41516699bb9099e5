#include "CurlExchange.h"

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace doubles {
namespace {

std::string certificateAuthority;
std::atomic<bool> isAvailable = true;

std::size_t append(char* bytes, std::size_t, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(bytes, count);
  return count;
}

}  // namespace

void setCertificateAuthority(const std::string& path) { certificateAuthority = path; }
void setNetworkAvailable(bool available) { isAvailable = available; }

Answer exchange(const Request& request) {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  if (!isAvailable) return {.status = 0, .body = {}, .error = "There is no network."};
  const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), &curl_easy_cleanup);
  curl_slist* headers = nullptr;
  for (const std::string& header : request.headers)
    headers = curl_slist_append(headers, header.c_str());
  const std::unique_ptr<curl_slist, void (*)(curl_slist*)> owned(headers, &curl_slist_free_all);
  Answer answer;
  curl_easy_setopt(handle.get(), CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(handle.get(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &append);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &answer.body);
  if (!certificateAuthority.empty()) {
    curl_easy_setopt(handle.get(), CURLOPT_CAINFO, certificateAuthority.c_str());
  }
  if (request.method == "POST") {
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
  }
  const CURLcode result = curl_easy_perform(handle.get());
  long status = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
  answer.status = static_cast<int>(status);
  if (result != CURLE_OK) answer.error = curl_easy_strerror(result);
  return answer;
}

}  // namespace doubles
