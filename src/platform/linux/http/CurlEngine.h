#pragma once

#include <curl/curl.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/CurlTransfers.h"
#include "platform/linux/process/ProcessExit.h"

namespace quarnel {

// Runs all HTTP exchanges of the process on one thread, which starts with the first of them. A
// round: take what is new, let libcurl work, hand over the outcomes, and wait for sockets or new
// exchanges.
class CurlEngine final : public ExitParticipant, public std::enable_shared_from_this<CurlEngine> {
 public:
  CurlEngine(HttpSettings settings, std::shared_ptr<PendingWork> pending, HttpLimits limits = {});
  CurlEngine(const CurlEngine&) = delete;
  CurlEngine& operator=(const CurlEngine&) = delete;
  ~CurlEngine() override;

  // `completion` runs on the queue exactly once, except for exchanges that stop() drops.
  void start(HttpRequest request, std::shared_ptr<SerialQueue> queue, HttpCompletion completion);

  // Drops what is in flight and ends the thread.
  void stop();

  // Fails what is in flight and what comes later, and keeps the thread away from libraries that
  // tear themselves down at exit.
  void processIsExiting() override;

 private:
  using ExchangePointer = std::unique_ptr<CurlExchange>;
  struct MultiDeleter {
    void operator()(CURLM* multi) const { ::curl_multi_cleanup(multi); }
  };

  std::optional<Error> enqueue(ExchangePointer& exchange, bool isAdmitted);
  void startThreadOnce();
  void run();
  void makeMulti();
  void transfer();
  bool preparePoll();
  int pollMilliseconds() const;
  std::vector<ExchangePointer> takeNew();
  void begin(ExchangePointer exchange);
  void failAll();
  bool pauseForExit();
  void wake();

  const std::shared_ptr<PendingWork> pending_;
  const HttpLimits limits_;
  Admission outstanding_;  // All exchanges that have no outcome yet.

  std::mutex mutex_;  // Guards what follows up to the thread.
  std::condition_variable changed_;
  std::vector<ExchangePointer> new_;
  bool isPolling_ = false;  // Else the thread looks for what is new before it waits.
  // What is new for there can wait: the next outcome from there makes the thread look.
  std::optional<std::string> crowdedOrigin_;
  CURLM* wakeable_ = nullptr;  // Set while the network thread can be woken.
  bool stopping_ = false;
  bool exiting_ = false;
  bool paused_ = false;
  std::thread thread_;

  // The network thread's own.
  std::unique_ptr<CURLM, MultiDeleter> multi_;
  CurlTransfers transfers_;
  Outcomes outcomes_;  // Of this round.
};

}  // namespace quarnel
