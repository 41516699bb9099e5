#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/HttpSession.h"
#include "platform/linux/http/CurlHandle.h"
#include "platform/linux/http/Outcomes.h"

namespace quarnel {

// One request and its answer, as a libcurl transfer. It sends the request once: libcurl would send
// it again when a reused connection ends before the response's head, or when the server refuses an
// HTTP/2 stream; that ends the exchange with an error. Used on the network thread only.
class CurlExchange {
 public:
  using Clock = std::chrono::steady_clock;

  CurlExchange(HttpRequest request, OutcomeReceiver receiver);
  CurlExchange(const CurlExchange&) = delete;
  CurlExchange& operator=(const CurlExchange&) = delete;

  // Reads the request, or says why it cannot be sent.
  std::optional<Error> parse();
  // The scheme and the host of the URL as it was given, read or not.
  std::string_view origin() const;
  const std::string& host() const { return host_; }  // With its port.

  // Takes a handle, before the first exchange or after another's, and sets it up for this one. Not
  // for a request that did not parse. The time of the exchange begins.
  void attach(CurlHandle handle, const HttpLimits& limits);
  CURL* handle() const { return handle_.get(); }
  CurlHandle detach() { return std::move(handle_); }

  // When the exchange takes too long, by what was sent and received until now.
  Clock::time_point deadline() const;

  // The outcome of a transfer that libcurl has finished.
  void finish(CURLcode code, Outcomes& outcomes);
  void fail(Error error, Outcomes& outcomes);

 private:
  struct Deleter {
    void operator()(CURLU* url) const { ::curl_url_cleanup(url); }
    void operator()(curl_slist* list) const { ::curl_slist_free_all(list); }
  };

  std::optional<Error> parseUrl();
  std::optional<std::string> urlPart(CURLUPart part, unsigned flags = 0) const;
  std::optional<Error> parseHeaders();
  bool appendHeader(const std::string& line);
  void setUpRequest(CURL* curl);
  void readStatusLine(std::string_view line);
  std::size_t sentBytes() const;
  bool isRedirectNotFollowed(CURLcode code) const;
  static curl_socket_t openSocket(void* exchange, curlsocktype purpose, curl_sockaddr* address);
  static int permitRequest(void* exchange, char* remoteAddress, char* localAddress, int remotePort,
                           int localPort);
  static std::size_t receiveHeader(char* line, std::size_t size, std::size_t count, void* exchange);
  static std::size_t receive(char* data, std::size_t size, std::size_t count, void* exchange);

  HttpRequest request_;
  OutcomeReceiver receiver_;
  HttpResponse response_;
  std::string host_;
  HttpLimits limits_;
  Clock::time_point start_;
  std::size_t headBytes_ = 0;
  std::size_t sentBeforeRedirect_ = 0;
  bool awaitsHead_ = false;  // The request was sent; its response's head isn't complete.
  bool isInterimHead_ = false;
  bool isSecondSending_ = false;
  bool isTooLarge_ = false;
  char errorText_[CURL_ERROR_SIZE] = {};
  std::unique_ptr<CURLU, Deleter> url_;
  std::unique_ptr<curl_slist, Deleter> headers_;
  CurlHandle handle_;  // Last: it refers to all of the above.
};

}  // namespace quarnel
