#include "platform/linux/http/CurlEngine.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/linux/device/OpenSsl.h"
#include "platform/linux/dispatch/Threads.h"

namespace quarnel {
namespace {

// The thread is woken for new work and libcurl shortens the wait to its own timers, so this bounds
// nothing that matters.
constexpr std::chrono::milliseconds kLongestPoll = std::chrono::hours(1);

// How long the end of the process waits for the network thread to keep still.
constexpr std::chrono::milliseconds kExitPatience{2000};

Error endOfProcess() { return transportError(CURLE_ABORTED_BY_CALLBACK, "The process is ending"); }

}  // namespace

CurlEngine::CurlEngine(HttpSettings settings, std::shared_ptr<PendingWork> pending,
                       HttpLimits limits)
    : pending_(std::move(pending)),
      limits_(limits),
      outstanding_({limits.exchanges, limits.requestBytes}),
      transfers_(std::move(settings), limits) {}

CurlEngine::~CurlEngine() { stop(); }

void CurlEngine::start(HttpRequest request, std::shared_ptr<SerialQueue> queue,
                       HttpCompletion completion) {
  auto ticket = outstanding_.admit(std::min(request.body.size(), limits_.countedRequestBytes));
  const bool isAdmitted = ticket != nullptr;
  auto exchange = std::make_unique<CurlExchange>(
      std::move(request), OutcomeReceiver{std::move(queue), std::move(completion),
                                          PendingWork::Token(pending_), std::move(ticket)});
  const auto error = enqueue(exchange, isAdmitted);
  if (!error) return;
  Outcomes refused;
  exchange->fail(*error, refused);
  refused.handOver();
}

// Takes the exchange, or says why not.
std::optional<Error> CurlEngine::enqueue(ExchangePointer& exchange, bool isAdmitted) {
  const std::lock_guard lock(mutex_);
  if (stopping_) return std::nullopt;
  if (!isAdmitted) return transportError(CURLE_AGAIN, "Too many requests are waiting");
  if (exiting_) return endOfProcess();
  try {
    startThreadOnce();
  } catch (const std::system_error& error) {
    return transportError(CURLE_FAILED_INIT, error.what());
  }
  const bool isNoHurry = exchange->origin() == crowdedOrigin_;
  new_.push_back(std::move(exchange));
  // Once woken, the thread takes all.
  if (!isNoHurry && std::exchange(isPolling_, false)) wake();
  return std::nullopt;
}

void CurlEngine::startThreadOnce() {
  if (thread_.joinable()) return;
  thread_ = startThread("quarnel-net", [this] { run(); });
}

void CurlEngine::stop() {
  std::thread thread;
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    thread.swap(thread_);
    wake();
    changed_.notify_all();
  }
  if (thread.joinable()) thread.join();
}

void CurlEngine::processIsExiting() {
  std::unique_lock lock(mutex_);
  if (!thread_.joinable()) return;
  exiting_ = true;
  wake();
  changed_.wait_for(lock, kExitPatience, [this] { return paused_; });
}

void CurlEngine::wake() {
  if (wakeable_ != nullptr) {
    ::curl_multi_wakeup(wakeable_);
  } else {
    changed_.notify_all();
  }
}

void CurlEngine::run() {
  initialiseOpenSsl();
  makeMulti();
  // After the set-up of the libraries below, so that it comes before their own end.
  callAtExit(weak_from_this());
  while (!pauseForExit()) transfer();
  {
    const std::lock_guard lock(mutex_);
    wakeable_ = nullptr;
    new_.clear();
  }
  transfers_.drop(multi_.get());
  multi_.reset();
}

// Leaves `multi_` null when there are no file descriptors for it; then the next exchange tries
// again.
void CurlEngine::makeMulti() {
  if (::curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return;
  multi_.reset(::curl_multi_init());
  // libcurl makes one that cannot be woken, too: its poll would sleep through all new work.
  if (multi_ && ::curl_multi_wakeup(multi_.get()) != CURLM_OK) multi_.reset();
  if (!multi_) return;
  ::curl_multi_setopt(multi_.get(), CURLMOPT_MAX_HOST_CONNECTIONS, limits::kConnectionsPerHost);
  ::curl_multi_setopt(multi_.get(), CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
  const std::lock_guard lock(mutex_);
  wakeable_ = multi_.get();
}

// Stays in here once the process is exiting. True when the thread is to end.
bool CurlEngine::pauseForExit() {
  std::unique_lock lock(mutex_);
  if (exiting_) {
    lock.unlock();
    failAll();
    lock.lock();
    paused_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return stopping_; });
  }
  // Without libcurl there is no poll to wait in.
  isPolling_ = !multi_;
  if (!multi_) changed_.wait(lock, [this] { return stopping_ || exiting_ || !new_.empty(); });
  return stopping_;
}

void CurlEngine::transfer() {
  for (ExchangePointer& exchange : takeNew()) begin(std::move(exchange));
  if (multi_) {
    int running = 0;
    ::curl_multi_perform(multi_.get(), &running);
    transfers_.completeFinished(multi_.get(), outcomes_);
    transfers_.failOverdue(multi_.get(), outcomes_);
  }
  outcomes_.handOver();
  if (multi_ && preparePoll()) {
    ::curl_multi_poll(multi_.get(), nullptr, 0, pollMilliseconds(), nullptr);
  }
}

// From here on start() knows for which exchanges the poll need not end. False when there is
// something new already.
bool CurlEngine::preparePoll() {
  const std::lock_guard lock(mutex_);
  crowdedOrigin_ = transfers_.crowdedOrigin();
  isPolling_ = new_.empty();
  return isPolling_;
}

// Until after the next deadline.
int CurlEngine::pollMilliseconds() const {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(std::min<CurlExchange::Clock::duration>(
          transfers_.nextDeadline() - CurlExchange::Clock::now(), kLongestPoll));
  return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

std::vector<CurlEngine::ExchangePointer> CurlEngine::takeNew() {
  const std::lock_guard lock(mutex_);
  isPolling_ = false;
  return std::exchange(new_, {});
}

void CurlEngine::begin(ExchangePointer exchange) {
  if (!multi_) makeMulti();
  if (!multi_) {
    exchange->fail(transportError(CURLE_FAILED_INIT), outcomes_);
    return;
  }
  transfers_.add(multi_.get(), std::move(exchange), outcomes_);
}

// An answer that would come now has nobody to come to. What fails is kept for the next start, if
// the application waits for the queues or they are quick enough.
void CurlEngine::failAll() {
  for (const ExchangePointer& exchange : takeNew()) exchange->fail(endOfProcess(), outcomes_);
  transfers_.failAll(multi_.get(), endOfProcess(), outcomes_);
  outcomes_.handOver();
}

}  // namespace quarnel
