#include "platform/linux/http/CurlTransfers.h"

#include <utility>

namespace quarnel {
namespace {

// With HTTP/2 a connection serves several at a time.
constexpr long kMultiplexedTransfers = 16;

// A handle keeps some ten kilobytes.
constexpr std::size_t kMostIdleHandles = 4;

bool usedHttp2(CURL* handle) {
  long version = CURL_HTTP_VERSION_NONE;
  ::curl_easy_getinfo(handle, CURLINFO_HTTP_VERSION, &version);
  return version == CURL_HTTP_VERSION_2_0;
}

}  // namespace

CurlTransfers::CurlTransfers(std::optional<std::string> authorityFile, HttpLimits limits)
    : authorityFile_(std::move(authorityFile)), limits_(limits) {}

void CurlTransfers::add(CURLM* multi, ExchangePointer exchange) {
  if (auto error = exchange->parse()) {
    exchange->fail(*std::move(error));
    return;
  }
  const std::string host = exchange->host();
  lines_[host].waiting.push_back(std::move(exchange));
  startWaiting(multi, host);
}

long CurlTransfers::transfersAtATime(const Line& line) const {
  return line.isMultiplexed ? kMultiplexedTransfers : limits_.connectionsPerHost;
}

void CurlTransfers::startWaiting(CURLM* multi, const std::string& host) {
  const auto found = lines_.find(host);
  Line& line = found->second;
  while (line.active < transfersAtATime(line) && !line.waiting.empty()) {
    ExchangePointer exchange = std::move(line.waiting.front());
    line.waiting.pop_front();
    if (start(multi, std::move(exchange))) ++line.active;
  }
  if (line.active == 0) lines_.erase(found);
}

// False when the exchange has failed at once.
bool CurlTransfers::start(CURLM* multi, ExchangePointer exchange) {
  CurlHandle handle = takeHandle();
  if (handle) exchange->attach(std::move(handle), limits_.responseBody);
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
    const bool isHttp2 = usedHttp2(handle);
    ::curl_multi_remove_handle(multi, handle);
    const ExchangePointer exchange = std::move(active_.extract(handle).mapped());
    exchange->finish(code);
    giveBack(exchange->detach());
    Line& line = lines_.at(exchange->host());
    --line.active;
    line.isMultiplexed = isHttp2;
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
  if (idle_.empty()) return CurlExchange::makeHandle(authorityFile_, limits_);
  CurlHandle handle = std::move(idle_.back());
  idle_.pop_back();
  return handle;
}

void CurlTransfers::giveBack(CurlHandle handle) {
  if (idle_.size() < kMostIdleHandles) idle_.push_back(std::move(handle));
}

}  // namespace quarnel
