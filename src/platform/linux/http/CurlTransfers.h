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
//
// With HTTP/2, too, a connection carries one exchange at a time: whatever number of streams the
// server announces is respected, also before it has, and a connection's end costs one exchange.
class CurlTransfers {
 public:
  CurlTransfers(HttpSettings settings, HttpLimits limits);

  // Starts the exchange now, or as soon as it is its turn.
  void add(CURLM* multi, std::unique_ptr<CurlExchange> exchange, Outcomes& outcomes);

  // Ends what libcurl has finished and what takes too long.
  void completeFinished(CURLM* multi, Outcomes& outcomes);
  void failOverdue(CURLM* multi, Outcomes& outcomes);
  // When to ask for what takes too long.
  CurlExchange::Clock::time_point nextDeadline() const { return nextDeadline_; }

  // An origin whose next exchange waits for another one's end.
  std::optional<std::string> crowdedOrigin() const;

  // Ends everything with the error.
  void failAll(CURLM* multi, const Error& error, Outcomes& outcomes);

  // Forgets everything, without outcomes.
  void drop(CURLM* multi);

 private:
  using ExchangePointer = std::unique_ptr<CurlExchange>;

  struct Line {
    long active = 0;
    std::deque<ExchangePointer> waiting;
  };

  void startWaiting(CURLM* multi, const std::string& host, Outcomes& outcomes);
  bool start(CURLM* multi, ExchangePointer exchange, Outcomes& outcomes);
  ExchangePointer takeFrom(CURLM* multi, CURL* handle);
  void goOnAfter(CURLM* multi, ExchangePointer exchange, Outcomes& outcomes);
  CurlHandle takeHandle();
  void giveBack(CurlHandle handle);

  const HttpSettings settings_;
  const HttpLimits limits_;
  std::map<std::string, Line> lines_;  // By host; only of those that have exchanges.
  std::unordered_map<CURL*, ExchangePointer> active_;
  std::vector<CurlHandle> idle_;
  CurlExchange::Clock::time_point nextDeadline_ = CurlExchange::Clock::time_point::max();
};

}  // namespace quarnel
