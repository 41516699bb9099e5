#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/HttpSession.h"
#include "platform/common/PendingWork.h"
#include "util/Admission.h"

namespace quarnel {

struct HttpLimits {
  std::chrono::seconds stall{60};  // For connecting, and then without any byte either way.
  std::size_t responseBody = 8U << 20U;
  long connectionsPerHost = 4;
  // Waiting or on their way; what is beyond fails at once. A request of any size goes alone.
  std::size_t exchanges = 1024;
  std::size_t requestBodies = 64U << 20U;
};

// Takes the outcome on the network thread; must not block or throw.
using ExchangeDone = std::function<void(HttpResult)>;

Error transportError(CURLcode code, std::string description = {});

struct CurlHandleDeleter {
  void operator()(CURL* handle) const { ::curl_easy_cleanup(handle); }
};
using CurlHandle = std::unique_ptr<CURL, CurlHandleDeleter>;

// One request and its answer, as a libcurl transfer. Used on the network thread only.
class CurlExchange {
 public:
  CurlExchange(HttpRequest request, ExchangeDone done, PendingWork::Token token,
               Admission::SharedTicket ticket);
  CurlExchange(const CurlExchange&) = delete;
  CurlExchange& operator=(const CurlExchange&) = delete;

  // A handle with all that exchanges have in common; null when there is none to be had.
  static CurlHandle makeHandle(const std::optional<std::string>& authorityFile,
                               const HttpLimits& limits);

  // Reads the request, or says why it cannot be sent.
  std::optional<Error> parse();
  // The scheme and the host of the URL as it was given, read or not.
  std::string_view origin() const;
  const std::string& host() const { return host_; }  // With its port.

  // Takes a handle, before the first exchange or after another's, and sets it up for this one. Not
  // for a request that did not parse.
  void attach(CurlHandle handle, std::size_t bodyLimit);
  CURL* handle() const { return handle_.get(); }
  CurlHandle detach() { return std::move(handle_); }

  // Tells the outcome of a transfer that libcurl has finished.
  void finish(CURLcode code);
  void fail(Error error);

 private:
  struct Deleter {
    void operator()(CURLU* url) const { ::curl_url_cleanup(url); }
    void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
  };

  std::optional<Error> parseUrl();
  std::optional<std::string> urlPart(CURLUPart part, unsigned flags = 0) const;
  std::optional<Error> parseHeaders();
  bool appendHeader(const std::string& line);
  static std::size_t receiveHeader(char* line, std::size_t size, std::size_t count, void* exchange);
  static std::size_t receive(char* data, std::size_t size, std::size_t count, void* exchange);

  HttpRequest request_;
  ExchangeDone done_;
  Admission::SharedTicket ticket_;  // Its place among those that are outstanding.
  PendingWork::Token token_;        // Given back after the outcome has been handed over.
  HttpResponse response_;
  std::string host_;
  std::size_t bodyLimit_ = 0;
  bool headComplete_ = false;
  bool bodyTooLarge_ = false;
  char errorText_[CURL_ERROR_SIZE] = {};
  std::unique_ptr<CURLU, Deleter> url_;
  std::unique_ptr<curl_slist, Deleter> headers_;
  CurlHandle handle_;  // Last: it refers to all of the above.
};

}  // namespace quarnel
