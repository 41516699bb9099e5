#include "platform/linux/http/CurlTransfers.h"

#include <algorithm>
#include <utility>

namespace quarnel {
namespace {

// A handle keeps some ten kilobytes.
constexpr std::size_t kMostIdleHandles = 4;

}  // namespace

CurlTransfers::CurlTransfers(HttpSettings settings, HttpLimits limits)
    : settings_(std::move(settings)), limits_(limits) {}

void CurlTransfers::add(CURLM* multi, ExchangePointer exchange, Outcomes& outcomes) {
  if (auto error = exchange->parse()) {
    exchange->fail(*std::move(error), outcomes);
    return;
  }
  const std::string host = exchange->host();
  lines_[host].waiting.push_back(std::move(exchange));
  startWaiting(multi, host, outcomes);
}

void CurlTransfers::startWaiting(CURLM* multi, const std::string& host, Outcomes& outcomes) {
  const auto found = lines_.find(host);
  Line& line = found->second;
  while (line.active < limits::kConnectionsPerHost && !line.waiting.empty()) {
    ExchangePointer exchange = std::move(line.waiting.front());
    line.waiting.pop_front();
    if (start(multi, std::move(exchange), outcomes)) ++line.active;
  }
  if (line.active == 0) lines_.erase(found);
}

// False when the exchange has failed at once.
bool CurlTransfers::start(CURLM* multi, ExchangePointer exchange, Outcomes& outcomes) {
  CurlHandle handle = takeHandle();
  if (handle) exchange->attach(std::move(handle), limits_);
  if (exchange->handle() == nullptr ||
      ::curl_multi_add_handle(multi, exchange->handle()) != CURLM_OK) {
    exchange->fail(transportError(CURLE_OUT_OF_MEMORY), outcomes);
    return false;
  }
  nextDeadline_ = std::min(nextDeadline_, exchange->deadline());
  CURL* const key = exchange->handle();
  active_.emplace(key, std::move(exchange));
  return true;
}

void CurlTransfers::completeFinished(CURLM* multi, Outcomes& outcomes) {
  int left = 0;
  while (const CURLMsg* const message = ::curl_multi_info_read(multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    ExchangePointer exchange = takeFrom(multi, message->easy_handle);
    exchange->finish(code, outcomes);
    goOnAfter(multi, std::move(exchange), outcomes);
  }
  if (active_.empty()) nextDeadline_ = CurlExchange::Clock::time_point::max();
}

// A deadline moves away with every byte, so it is looked at only when the last one known has come.
void CurlTransfers::failOverdue(CURLM* multi, Outcomes& outcomes) {
  const auto now = CurlExchange::Clock::now();
  if (now < nextDeadline_) return;
  nextDeadline_ = CurlExchange::Clock::time_point::max();
  std::vector<CURL*> overdue;
  for (const auto& [handle, exchange] : active_) {
    const auto deadline = exchange->deadline();
    if (deadline <= now) {
      overdue.push_back(handle);
    } else {
      nextDeadline_ = std::min(nextDeadline_, deadline);
    }
  }
  for (CURL* const handle : overdue) {
    ExchangePointer exchange = takeFrom(multi, handle);
    exchange->fail(transportError(CURLE_OPERATION_TIMEDOUT, "The exchange took too long"),
                   outcomes);
    goOnAfter(multi, std::move(exchange), outcomes);
  }
}

CurlTransfers::ExchangePointer CurlTransfers::takeFrom(CURLM* multi, CURL* handle) {
  ::curl_multi_remove_handle(multi, handle);
  return std::move(active_.extract(handle).mapped());
}

void CurlTransfers::goOnAfter(CURLM* multi, ExchangePointer exchange, Outcomes& outcomes) {
  giveBack(exchange->detach());
  --lines_.at(exchange->host()).active;
  startWaiting(multi, exchange->host(), outcomes);
}

std::optional<std::string> CurlTransfers::crowdedOrigin() const {
  for (const auto& [host, line] : lines_) {
    if (!line.waiting.empty()) return std::string(line.waiting.front()->origin());
  }
  return std::nullopt;
}

void CurlTransfers::failAll(CURLM* multi, const Error& error, Outcomes& outcomes) {
  for (const auto& [handle, exchange] : active_) exchange->fail(error, outcomes);
  for (const auto& [host, line] : lines_) {
    for (const ExchangePointer& exchange : line.waiting) exchange->fail(error, outcomes);
  }
  drop(multi);
}

void CurlTransfers::drop(CURLM* multi) {
  for (const auto& [handle, exchange] : active_) ::curl_multi_remove_handle(multi, handle);
  active_.clear();
  lines_.clear();
  idle_.clear();
  nextDeadline_ = CurlExchange::Clock::time_point::max();
}

CurlHandle CurlTransfers::takeHandle() {
  if (idle_.empty()) return makeCurlHandle(settings_, limits_);
  CurlHandle handle = std::move(idle_.back());
  idle_.pop_back();
  return handle;
}

void CurlTransfers::giveBack(CurlHandle handle) {
  if (idle_.size() < kMostIdleHandles) idle_.push_back(std::move(handle));
}

}  // namespace quarnel
