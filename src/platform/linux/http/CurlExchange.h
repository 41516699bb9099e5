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
  // For connecting, and then without any byte either way.
  std::chrono::seconds stall{60};
  // An exchange as a whole may take this long, and a second more for each so many bytes: a server
  // that sends two bytes a second must not hold a connection for weeks.
  std::chrono::seconds exchange{60};
  std::size_t bytesPerSecond = 8U << 10U;
  // Answers are small. What is beyond is no answer of the service.
  std::size_t responseBody = 8U << 20U;
  std::size_t responseHead = 256U << 10U;  // With its trailers and the heads of redirects.
  long connectionsPerHost = 4;
  // The server may close a connection that nobody uses; most do so later than this.
  std::chrono::seconds idleConnection{5};
  // Waiting or on their way; what is beyond fails at once. The callers hold back long before, by
  // number and by bytes; a single record of theirs may have 128 MiB.
  std::size_t exchanges = 1024;
  std::size_t requestBodies = 512U << 20U;
};

// How the process reaches servers.
struct HttpRoute {
  std::optional<std::string> authorityFile{};  // In place of the system's authorities.
  bool usesProxyEnvironment = true;            // Whether proxy variables take effect.
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
  static CurlHandle makeHandle(const HttpRoute& route, const HttpLimits& limits);

  // Reads the request, or says why it cannot be sent.
  std::optional<Error> parse();
  // The scheme and the host of the URL as it was given, read or not.
  std::string_view origin() const;
  const std::string& host() const { return host_; }  // With its port.

  // Takes a handle, before the first exchange or after another's, and sets it up for this one. Not
  // for a request that did not parse.
  void attach(CurlHandle handle, const HttpLimits& limits);
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
  bool endedAtRedirect() const;
  int responseStatus() const;
  static int beginRequest(void* exchange, char*, char*, int, int);
  static int watchTime(void* exchange, curl_off_t, curl_off_t received, curl_off_t,
                       curl_off_t sent);
  static std::size_t receiveHeader(char* line, std::size_t size, std::size_t count, void* exchange);
  static std::size_t receive(char* data, std::size_t size, std::size_t count, void* exchange);

  HttpRequest request_;
  ExchangeDone done_;
  Admission::SharedTicket ticket_;  // Its place among those that are outstanding.
  PendingWork::Token token_;        // Given back after the outcome has been handed over.
  HttpResponse response_;
  std::string host_;
  HttpLimits limits_;
  std::chrono::steady_clock::time_point begun_;
  std::size_t headSize_ = 0;
  bool isRequestSent_ = false;  // And no response head has come since.
  bool headComplete_ = false;
  std::optional<Error> refusal_;  // Why this class has ended the transfer.
  char errorText_[CURL_ERROR_SIZE] = {};
  std::unique_ptr<CURLU, Deleter> url_;
  std::unique_ptr<curl_slist, Deleter> headers_;
  CurlHandle handle_;  // Last: it refers to all of the above.
};

}  // namespace quarnel
