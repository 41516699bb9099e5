#include "platform/linux/http/CurlEngine.h"

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

CurlEngine::CurlEngine(HttpRoute route, std::shared_ptr<PendingWork> pending, HttpLimits limits)
    : pending_(std::move(pending)),
      limits_(limits),
      outstanding_({limits.exchanges, limits.requestBodies}),
      transfers_(std::move(route), limits) {}

CurlEngine::~CurlEngine() { stop(); }

void CurlEngine::start(HttpRequest request, ExchangeDone done) {
  auto ticket = outstanding_.admit(request.body.size());
  const bool isAdmitted = ticket != nullptr;
  auto exchange = std::make_unique<CurlExchange>(std::move(request), std::move(done),
                                                 PendingWork::Token(pending_), std::move(ticket));
  const std::lock_guard lock(mutex_);
  if (stopping_) return;
  if (!isAdmitted) {
    exchange->fail(transportError(CURLE_AGAIN, "Too many requests are waiting"));
    return;
  }
  if (exiting_) {
    exchange->fail(endOfProcess());
    return;
  }
  try {
    startThreadOnce();
  } catch (const std::system_error& error) {
    exchange->fail(transportError(CURLE_FAILED_INIT, error.what()));
    return;
  }
  const bool isNoHurry = exchange->origin() == crowdedOrigin_;
  new_.push_back(std::move(exchange));
  // Once woken, the thread takes all.
  if (!isNoHurry && !std::exchange(isWoken_, true)) wake();
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
  ::curl_multi_setopt(multi_.get(), CURLMOPT_MAX_HOST_CONNECTIONS, limits_.connectionsPerHost);
  // One exchange at a time on a connection, with HTTP/2 too: with several, libcurl loses exchanges
  // on servers that announce a limit of few streams.
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
  if (!multi_) changed_.wait(lock, [this] { return stopping_ || exiting_ || !new_.empty(); });
  return stopping_;
}

void CurlEngine::transfer() {
  for (ExchangePointer& exchange : takeNew()) begin(std::move(exchange));
  if (!multi_) return;
  int running = 0;
  ::curl_multi_perform(multi_.get(), &running);
  transfers_.completeFinished(multi_.get());
  if (!isFreeToWait()) return;
  ::curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(kLongestPoll.count()), nullptr);
}

// Asked before each poll; from then on start() knows for which exchanges the poll need not end.
bool CurlEngine::isFreeToWait() {
  const std::lock_guard lock(mutex_);
  crowdedOrigin_ = transfers_.crowdedOrigin();
  return new_.empty();
}

std::vector<CurlEngine::ExchangePointer> CurlEngine::takeNew() {
  const std::lock_guard lock(mutex_);
  isWoken_ = false;
  return std::exchange(new_, {});
}

void CurlEngine::begin(ExchangePointer exchange) {
  if (!multi_) makeMulti();
  if (!multi_) {
    exchange->fail(transportError(CURLE_FAILED_INIT));
    return;
  }
  transfers_.add(multi_.get(), std::move(exchange));
}

// An answer that would come now has nobody to come to. What fails is kept for the next start, if
// the application waits for the queues or they are quick enough.
void CurlEngine::failAll() {
  for (const ExchangePointer& exchange : takeNew()) exchange->fail(endOfProcess());
  transfers_.failAll(multi_.get(), endOfProcess());
}

}  // namespace quarnel
