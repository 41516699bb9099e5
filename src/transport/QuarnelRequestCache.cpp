#include "transport/QuarnelRequestCache.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

#include "platform/Clock.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "transport/CacheRecordFile.h"

namespace quarnel {
namespace {

// Tested before a write with "greater than", so that the directory can hold one file more.
constexpr std::size_t kCacheLimit = 40;
constexpr std::chrono::milliseconds kReplayDelay{100};

// A record of an event value of 10 MB has some 80 MB after escaping; what is beyond this bound was
// not written by the cache.
constexpr std::size_t kRecordLimit = std::size_t{128} << 20;
// Records beyond this sum wait on disk for the next replay, so that memory stays bounded.
constexpr std::size_t kReplayBudget = std::size_t{256} << 20;

// Writes within one microsecond, or after the clock was set back, take the next free name.
constexpr int kNameAttempts = 1000;

}  // namespace

QuarnelRequestCache::QuarnelRequestCache(Platform& platform, const std::string& queueLabel,
                                         const DebugLog& log, Ledger& ledger,
                                         QuarnelServerHandler& serverHandler, AppID appleAppID)
    : platform_(platform),
      log_(log),
      ledger_(ledger),
      serverHandler_(serverHandler),
      appleAppID_(std::move(appleAppID)),
      queue_(platform.dispatcher().makeSerialQueue(queueLabel)) {}

void QuarnelRequestCache::cacheRequest(RequestRecord record) {
  if (!record) return;
  isLoadQueued_ = false;  // That load would come too early for this record.
  queue_->post([this, record = std::move(record)] { write(*record); });
}

void QuarnelRequestCache::processCache() {
  // After a burst of deliveries one load is enough, but each has its line in the log.
  if (!log_.isEnabled() && isLoadQueued_.exchange(true)) return;
  queue_->post([this] {
    isLoadQueued_ = false;
    load();
  });
}

void QuarnelRequestCache::deleteRequest(RequestRecord record) {
  queue_->post([this, record = std::move(record)] { removeFile(*record); });
}

void QuarnelRequestCache::sendNextCachedEvents() {
  queue_->post([this] {
    isInFlight_ = false;
    sendNext();
  });
}

std::optional<std::string> QuarnelRequestCache::getCacheDirectoryPath() {
  constexpr std::string_view kOperation = "-[QuarnelRequestCache getCacheDirectoryPath]";
  if (cacheDirectoryPath_) return cacheDirectoryPath_;
  FileSystem& files = platform_.fileSystem();
  cacheDirectoryPath_ = files.cachesDirectory() + "/QuarnelCache";
  if (!files.exists(*cacheDirectoryPath_)) {
    if (const auto reason = files.createDirectory(*cacheDirectoryPath_, false)) {
      log_(kOperation, "[QuarnelCache Directory] ", *reason);
      return std::nullopt;
    }
  }
  log_(kOperation, "cache dir: ", *cacheDirectoryPath_);
  return cacheDirectoryPath_;
}

void QuarnelRequestCache::initialize() {
  FileSystem& files = platform_.fileSystem();
  const std::optional<std::string> directory = getCacheDirectoryPath();
  if (directory && files.exists(*directory)) return;
  if (const auto reason = files.createDirectory(*cacheDirectoryPath_, true)) {
    log_("-[QuarnelRequestCache initialize]", "failed to create cache dir: ", *reason);
    failedToInitialize_ = true;
  }
}

std::size_t QuarnelRequestCache::getCacheSize(const std::string& directory) const {
  const auto names = platform_.fileSystem().list(directory);
  return names ? names->size() : 0;
}

void QuarnelRequestCache::write(const QuarnelRequestCacheData& record) {
  constexpr std::string_view kOperation = "-[QuarnelRequestCache cacheRequest:]";
  FileSystem& files = platform_.fileSystem();
  // The user may have emptied the caches while the application runs.
  if (!getCacheDirectoryPath() || !files.exists(*cacheDirectoryPath_)) initialize();
  const std::size_t size = getCacheSize(*cacheDirectoryPath_);
  if (size > kCacheLimit) {
    ledger_.count(Tally::kCacheFull);
    log_(kOperation, "Cache reached limit - not caching request....");
    return;
  }
  log_(kOperation, "Caching request...(cache size: ", size, ")");
  const std::string content = cacheFileContent(record);
  const Date now = platform_.clock().now();
  std::string path;
  FileSystem::WriteResult result;
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    path = *cacheDirectoryPath_ + "/" + cacheFileName(now + std::chrono::microseconds(attempt));
    result = files.writeNewFile(path, content);
    if (result.outcome != FileSystem::WriteOutcome::kNameTaken) break;
  }
  const bool isWritten = result.outcome == FileSystem::WriteOutcome::kWritten;
  ledger_.count(isWritten ? Tally::kCached : Tally::kCacheWriteFailed);
  if (!isWritten) {
    log_(kOperation, "Error writing file at ", path, "\n", result.reason);
  }
}

std::deque<RequestRecord> QuarnelRequestCache::getCachedRequests() {
  std::deque<RequestRecord> records;
  const std::optional<std::string> directory = getCacheDirectoryPath();
  if (!directory) return records;
  FileSystem& files = platform_.fileSystem();
  std::vector<std::string> names = files.list(*directory).value_or(std::vector<std::string>());
  std::sort(names.begin(), names.end());
  std::size_t total = 0;
  for (const std::string& name : names) {
    const std::optional<std::string> content = files.read(*directory + "/" + name, kRecordLimit);
    if (!content) {
      countUnreadable(name);
      continue;
    }
    total += content->size();
    if (total > kReplayBudget && !records.empty()) break;
    if (auto record = parseCacheFile(name, *content, platform_.clock().now())) {
      records.push_back(std::make_shared<const QuarnelRequestCacheData>(*std::move(record)));
    } else {
      countUnreadable(name);
    }
  }
  return records;
}

// Files of other names are not the cache's. The bound is for a folder that somebody fills.
void QuarnelRequestCache::countUnreadable(const std::string& name) {
  constexpr std::size_t kMostNames = 1000;
  if (!name.ends_with(kCacheFileExtension) || unreadable_.size() == kMostNames) return;
  if (unreadable_.insert(name).second) ledger_.count(Tally::kUnreadableRecord);
}

void QuarnelRequestCache::load() {
  if (isSendingCachedData_) return;
  if (!cachedRequests_.empty()) return;
  if (failedToInitialize_) initialize();
  cachedRequests_ = getCachedRequests();
  log_("-[QuarnelRequestCache processCache]", "Cache size ", cachedRequests_.size());
  if (cachedRequests_.empty()) return;
  platform_.dispatcher().mainQueue().postAfter(
      kReplayDelay, [this, load = ++loads_] { queue_->post([this, load] { startReplay(load); }); });
}

// The start of an earlier load whose records have left already must not hasten this one, and a
// record of the replay before may still be in flight: its completion then goes on with the list.
void QuarnelRequestCache::startReplay(unsigned load) {
  if (load == loads_ && !isInFlight_) sendNext();
}

void QuarnelRequestCache::sendNext() {
  if (cachedRequests_.empty()) {
    isSendingCachedData_ = false;
    return;
  }
  const RequestRecord record = cachedRequests_.front();
  sendCachedRequest(record);
  cachedRequests_.pop_front();
}

void QuarnelRequestCache::sendCachedRequest(const RequestRecord& record) {
  isInFlight_ = true;
  try {
    serverHandler_.sendRequestEventToServer(record, true, appleAppID_(), log_.isEnabled(), nullptr);
  } catch (const std::exception&) {
    isInFlight_ = false;
    log_("-[QuarnelRequestCache sendCachedRequest:]", "failed to start connection ",
         record->requestURL);
  }
}

void QuarnelRequestCache::removeFile(const QuarnelRequestCacheData& record) {
  const std::string path = cacheDirectoryPath_.value_or("") + "/" + record.cacheKey.value_or("");
  if (const auto reason = platform_.fileSystem().remove(path)) {
    log_("-[QuarnelRequestCache deleteRequest:]", "Error deleting file at ", path, "\n", *reason);
  } else {
    ledger_.count(Tally::kReplayed);
  }
}

}  // namespace quarnel
