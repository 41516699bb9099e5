#pragma once

#include <QuarnelTvOsLib/Error.h>
#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "util/Limits.h"

namespace quarnel {

struct HttpSettings {
  std::optional<std::string> authorityFile;  // Absent: the system's authorities.
  bool usesProxyVariables = true;
};

// The library's own limits; tests make them smaller.
struct HttpLimits {
  std::chrono::seconds stall = limits::kStall;
  std::chrono::seconds exchangeTime = limits::kExchangeTime;
  std::size_t responseBody = limits::kResponseBody;
  std::size_t responseHeads = limits::kResponseHeads;
  std::size_t exchanges = limits::kExchanges;
  std::size_t requestBytes = limits::kRequestBytes;
  std::size_t countedRequestBytes = limits::kCountedRequestBytes;
};

struct CurlHandleDeleter {
  void operator()(CURL* handle) const { ::curl_easy_cleanup(handle); }
};
using CurlHandle = std::unique_ptr<CURL, CurlHandleDeleter>;

// A handle with all that exchanges have in common; null when there is none to be had.
CurlHandle makeCurlHandle(const HttpSettings& settings, const HttpLimits& limits);

Error transportError(CURLcode code, std::string description = {});

}  // namespace quarnel
