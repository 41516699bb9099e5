#include "platform/linux/CurlEngine.h"

#include <system_error>
#include <utility>

#include "platform/linux/OpenSsl.h"
#include "platform/linux/Threads.h"

namespace quarnel {
namespace {

// The thread is woken for new work and libcurl shortens the wait to its own timers, so this bounds
// nothing that matters.
constexpr std::chrono::milliseconds kLongestPoll = std::chrono::hours(1);

// How long the end of the process waits for the network thread to keep still.
constexpr std::chrono::milliseconds kExitPatience{2000};

Error endOfProcess() { return transportError(CURLE_ABORTED_BY_CALLBACK, "The process is ending"); }

}  // namespace

CurlEngine::CurlEngine(std::optional<std::string> authorityFile,
                       std::shared_ptr<PendingWork> pending, HttpLimits limits)
    : authorityFile_(std::move(authorityFile)), pending_(std::move(pending)), limits_(limits) {}

CurlEngine::~CurlEngine() { stop(); }

void CurlEngine::start(HttpRequest request, ExchangeDone done) {
  auto exchange = std::make_unique<CurlExchange>(std::move(request), std::move(done),
                                                 PendingWork::Token(pending_));
  const std::lock_guard lock(mutex_);
  if (stopping_) return;
  if (!hasRoomFor(*exchange)) {
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
  ++exchanges_;
  requestBodies_ += exchange->requestSize();
  new_.push_back(std::move(exchange));
  wake();
}

bool CurlEngine::hasRoomFor(const CurlExchange& exchange) const {
  return exchanges_ == 0 || (exchanges_ < limits_.exchanges &&
                             requestBodies_ + exchange.requestSize() <= limits_.requestBodies);
}

void CurlEngine::end(const CurlExchange& exchange) {
  const std::lock_guard lock(mutex_);
  --exchanges_;
  requestBodies_ -= exchange.requestSize();
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
  while (!active_.empty()) takeActive(active_.begin()->first);
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
  completeFinished();
  ::curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(kLongestPoll.count()), nullptr);
}

std::vector<CurlEngine::ExchangePointer> CurlEngine::takeNew() {
  const std::lock_guard lock(mutex_);
  return std::exchange(new_, {});
}

void CurlEngine::begin(ExchangePointer exchange) {
  if (!multi_) makeMulti();
  if (!multi_) {
    end(*exchange);
    exchange->fail(transportError(CURLE_FAILED_INIT));
    return;
  }
  if (auto error = exchange->prepare(authorityFile_, limits_)) {
    end(*exchange);
    exchange->fail(*std::move(error));
    return;
  }
  CURL* const handle = exchange->handle();
  if (::curl_multi_add_handle(multi_.get(), handle) != CURLM_OK) {
    end(*exchange);
    exchange->fail(transportError(CURLE_OUT_OF_MEMORY));
    return;
  }
  active_.emplace(handle, std::move(exchange));
}

void CurlEngine::completeFinished() {
  int left = 0;
  while (const CURLMsg* const message = ::curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    const CURLcode code = message->data.result;
    takeActive(handle)->finish(code);
  }
}

// An answer that would come now has nobody to come to. What fails is kept for the next start, if
// the application waits for the queues or they are quick enough.
void CurlEngine::failAll() {
  for (const ExchangePointer& exchange : takeNew()) {
    end(*exchange);
    exchange->fail(endOfProcess());
  }
  while (!active_.empty()) takeActive(active_.begin()->first)->fail(endOfProcess());
}

CurlEngine::ExchangePointer CurlEngine::takeActive(CURL* handle) {
  ::curl_multi_remove_handle(multi_.get(), handle);
  ExchangePointer exchange = std::move(active_.extract(handle).mapped());
  end(*exchange);
  return exchange;
}

}  // namespace quarnel
