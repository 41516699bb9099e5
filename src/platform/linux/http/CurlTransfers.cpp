#include "platform/linux/http/CurlTransfers.h"

#include <utility>

namespace quarnel {
namespace {

// A handle keeps some ten kilobytes.
constexpr std::size_t kMostIdleHandles = 4;

}  // namespace

CurlTransfers::CurlTransfers(HttpRoute route, HttpLimits limits)
    : route_(std::move(route)), limits_(limits) {}

void CurlTransfers::add(CURLM* multi, ExchangePointer exchange) {
  if (auto error = exchange->parse()) {
    exchange->fail(*std::move(error));
    return;
  }
  const std::string host = exchange->host();
  lines_[host].waiting.push_back(std::move(exchange));
  startWaiting(multi, host);
}

void CurlTransfers::startWaiting(CURLM* multi, const std::string& host) {
  const auto found = lines_.find(host);
  Line& line = found->second;
  while (line.active < limits_.connectionsPerHost && !line.waiting.empty()) {
    ExchangePointer exchange = std::move(line.waiting.front());
    line.waiting.pop_front();
    if (start(multi, std::move(exchange))) ++line.active;
  }
  if (line.active == 0) lines_.erase(found);
}

// False when the exchange has failed at once.
bool CurlTransfers::start(CURLM* multi, ExchangePointer exchange) {
  CurlHandle handle = takeHandle();
  if (handle) exchange->attach(std::move(handle), limits_);
  if (exchange->handle() == nullptr ||
      ::curl_multi_add_handle(multi, exchange->handle()) != CURLM_OK) {
    exchange->fail(transportError(CURLE_OUT_OF_MEMORY));
    return false;
  }
  CURL* const key = exchange->handle();
  active_.emplace(key, std::move(exchange));
  return true;
}

void CurlTransfers::completeFinished(CURLM* multi) {
  int left = 0;
  while (const CURLMsg* const message = ::curl_multi_info_read(multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* const handle = message->easy_handle;
    const CURLcode code = message->data.result;
    ::curl_multi_remove_handle(multi, handle);
    const ExchangePointer exchange = std::move(active_.extract(handle).mapped());
    exchange->finish(code);
    giveBack(exchange->detach());
    Line& line = lines_.at(exchange->host());
    --line.active;
    startWaiting(multi, exchange->host());
  }
}

std::optional<std::string> CurlTransfers::crowdedOrigin() const {
  for (const auto& [host, line] : lines_) {
    if (!line.waiting.empty()) return std::string(line.waiting.front()->origin());
  }
  return std::nullopt;
}

void CurlTransfers::failAll(CURLM* multi, const Error& error) {
  for (const auto& [handle, exchange] : active_) exchange->fail(error);
  for (const auto& [host, line] : lines_) {
    for (const ExchangePointer& exchange : line.waiting) exchange->fail(error);
  }
  drop(multi);
}

void CurlTransfers::drop(CURLM* multi) {
  for (const auto& [handle, exchange] : active_) ::curl_multi_remove_handle(multi, handle);
  active_.clear();
  lines_.clear();
  idle_.clear();
}

CurlHandle CurlTransfers::takeHandle() {
  if (idle_.empty()) return CurlExchange::makeHandle(route_, limits_);
  CurlHandle handle = std::move(idle_.back());
  idle_.pop_back();
  return handle;
}

void CurlTransfers::giveBack(CurlHandle handle) {
  if (idle_.size() < kMostIdleHandles) idle_.push_back(std::move(handle));
}

}  // namespace quarnel
