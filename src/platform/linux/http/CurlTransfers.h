#pragma once

#include <curl/curl.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/linux/http/CurlExchange.h"

namespace quarnel {

// Carries exchanges out on libcurl's handles. A handle is used again and again, and only as many
// exchanges with a host have one as it can serve at a time: the others wait in line without one,
// because libcurl goes through all of its transfers whenever anything happens to one of them. Used
// on the network thread only.
class CurlTransfers {
 public:
  CurlTransfers(HttpRoute route, HttpLimits limits);

  // Starts the exchange now, or as soon as it is its turn.
  void add(CURLM* multi, std::unique_ptr<CurlExchange> exchange);

  // Tells the outcomes of what libcurl has finished.
  void completeFinished(CURLM* multi);

  // An origin whose next exchange waits for another one's end.
  std::optional<std::string> crowdedOrigin() const;

  // Ends everything with the error.
  void failAll(CURLM* multi, const Error& error);

  // Forgets everything, without outcomes.
  void drop(CURLM* multi);

 private:
  using ExchangePointer = std::unique_ptr<CurlExchange>;

  struct Line {
    long active = 0;
    std::deque<ExchangePointer> waiting;
  };

  void startWaiting(CURLM* multi, const std::string& host);
  bool start(CURLM* multi, ExchangePointer exchange);
  CurlHandle takeHandle();
  void giveBack(CurlHandle handle);

  const HttpRoute route_;
  const HttpLimits limits_;
  std::map<std::string, Line> lines_;  // By host; only of those that have exchanges.
  std::unordered_map<CURL*, ExchangePointer> active_;
  std::vector<CurlHandle> idle_;
};

}  // namespace quarnel
