#include "transport/QuarnelRequestCache.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <string_view>
#include <utility>

#include "transport/CacheRecordFile.h"
#include "util/Limits.h"
#include "util/Text.h"
#include "util/Url.h"

namespace quarnel {
namespace {

constexpr std::chrono::milliseconds kReplayDelay{100};

// Whether an exchange for the record can begin at all.
bool canBeSent(const QuarnelRequestCacheData& record) {
  return record.requestURL && isHttpsUrl(escapeForUrl(*record.requestURL));
}

}  // namespace

QuarnelRequestCache::QuarnelRequestCache(FileSystem& files, Dispatcher& dispatcher,
                                         const Clock& clock, const std::string& queueLabel,
                                         Ledger& ledger, const DebugLog& log, Send send)
    : files_(files),
      dispatcher_(dispatcher),
      clock_(clock),
      ledger_(ledger),
      log_(log),
      send_(std::move(send)),
      queue_(dispatcher.makeSerialQueue(queueLabel)) {}

void QuarnelRequestCache::cacheRequest(RequestRecord record, std::function<void()> done) {
  isLoadQueued_ = false;  // That load would come too early for this record.
  queue_->post([this, record = std::move(record), done = std::move(done)] {
    try {
      if (record) write(*record);
    } catch (const std::exception& exception) {
      // Memory has run out before anything was counted; a record can be very large.
      ledger_.count(Tally::kCacheWriteFailed);
      log_("-[QuarnelRequestCache cacheRequest:]", "Error writing file: ", exception.what());
    }
    done();
  });
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
  cacheDirectoryPath_ = files_.cachesDirectory() + "/QuarnelCache";
  if (!files_.exists(*cacheDirectoryPath_)) {
    if (const auto reason = files_.createDirectory(*cacheDirectoryPath_, false)) {
      log_(kOperation, "[QuarnelCache Directory] ", *reason);
      return std::nullopt;
    }
  }
  log_(kOperation, "cache dir: ", *cacheDirectoryPath_);
  return cacheDirectoryPath_;
}

void QuarnelRequestCache::initialize() {
  const std::optional<std::string> directory = getCacheDirectoryPath();
  if (directory && files_.exists(*directory)) return;
  if (const auto reason = files_.createDirectory(*cacheDirectoryPath_, true)) {
    log_("-[QuarnelRequestCache initialize]", "failed to create cache dir: ", *reason);
    failedToInitialize_ = true;
  }
}

std::size_t QuarnelRequestCache::getCacheSize(const std::string& directory) const {
  const auto names = files_.list(directory);
  return names ? names->size() : 0;
}

void QuarnelRequestCache::write(const QuarnelRequestCacheData& record) {
  constexpr std::string_view kOperation = "-[QuarnelRequestCache cacheRequest:]";
  // The user may have emptied the caches while the application runs.
  if (!getCacheDirectoryPath() || !files_.exists(*cacheDirectoryPath_)) initialize();
  const std::size_t size = getCacheSize(*cacheDirectoryPath_);
  if (size > limits::kCacheLimit) {
    ledger_.count(Tally::kCacheFull);
    log_(kOperation, "Cache reached limit - not caching request....");
    return;
  }
  log_(kOperation, "Caching request...(cache size: ", size, ")");
  std::string path;
  const auto failure = writeFile(cacheFileContent(record), path);
  ledger_.count(failure ? Tally::kCacheWriteFailed : Tally::kCached);
  if (failure) log_(kOperation, "Error writing file at ", path, "\n", *failure);
}

// Absent on success, else why not. What could never be read or sent again is not written either.
std::optional<std::string> QuarnelRequestCache::writeFile(const std::string& content,
                                                          std::string& path) {
  const Date now = clock_.now();
  const auto pathAt = [&](int attempt) {
    return *cacheDirectoryPath_ + "/" + cacheFileName(now + std::chrono::microseconds(attempt));
  };
  path = pathAt(0);
  if (content.size() > limits::kLargestRecord) return "The record is too large.";
  FileSystem::WriteResult result;
  for (int attempt = 0; attempt < limits::kNameAttempts; ++attempt) {
    path = pathAt(attempt);
    result = files_.writeNewFile(path, content);
    if (result.outcome != FileSystem::WriteOutcome::kNameTaken) break;
  }
  if (result.outcome == FileSystem::WriteOutcome::kWritten) return std::nullopt;
  return result.reason;
}

std::deque<RequestRecord> QuarnelRequestCache::getCachedRequests() {
  std::deque<RequestRecord> records;
  const std::optional<std::string> directory = getCacheDirectoryPath();
  if (!directory) return records;
  const auto listed = files_.list(*directory);
  if (!listed) return records;
  std::vector<std::string> names = *listed;
  tellLedger(names);
  std::sort(names.begin(), names.end());
  std::size_t total = 0;
  for (const std::string& name : names) {
    const std::optional<std::string> content =
        files_.read(*directory + "/" + name, limits::kLargestRecord);
    if (!content) {
      countUnreadable(name);
      continue;
    }
    total += content->size();
    if (total > limits::kReplayBudget && !records.empty()) break;
    auto record = parseCacheFile(name, *content, clock_.now());
    if (!record) {
      countUnreadable(name);
    } else if (!canBeSent(*record)) {
      setAside(name);
    } else {
      records.push_back(std::make_shared<const QuarnelRequestCacheData>(*std::move(record)));
    }
  }
  return records;
}

// Records that are known as unusable are counted as such already.
void QuarnelRequestCache::tellLedger(const std::vector<std::string>& names) {
  const auto usable = std::count_if(names.begin(), names.end(), [this](const std::string& name) {
    return name.ends_with(kCacheFileExtension) && unreadable_.count(name) == 0;
  });
  ledger_.recordsListed(static_cast<std::uint64_t>(usable));
}

// Files of other names are not the cache's. The bound is for a folder that somebody fills.
void QuarnelRequestCache::countUnreadable(const std::string& name) {
  constexpr std::size_t kMostNames = 1000;
  if (!name.ends_with(kCacheFileExtension) || unreadable_.size() == kMostNames) return;
  if (unreadable_.insert(name).second) ledger_.count(Tally::kUnreadableRecord);
}

// A record that can never be sent would fill its place for good. It is kept beside the cache for
// whoever wants to know, as long as there are few.
void QuarnelRequestCache::setAside(const std::string& name) {
  const std::string folder = files_.cachesDirectory() + "/QuarnelCacheUnusable";
  const std::string path = *cacheDirectoryPath_ + "/" + name;
  if (!files_.exists(folder)) files_.createDirectory(folder, true);
  const bool hasRoom = getCacheSize(folder) <= limits::kCacheLimit;
  const auto failure = hasRoom ? files_.move(path, folder + "/" + name) : files_.remove(path);
  ledger_.count(Tally::kUnreadableRecord);
  log_("-[QuarnelRequestCache getCachedRequests]", "cannot be sent, set aside: ", path,
       failure ? "\n" + *failure : std::string());
}

void QuarnelRequestCache::load() {
  if (isSendingCachedData_) return;
  if (!cachedRequests_.empty()) return;
  if (failedToInitialize_) initialize();
  cachedRequests_ = getCachedRequests();
  log_("-[QuarnelRequestCache processCache]", "Cache size ", cachedRequests_.size());
  if (cachedRequests_.empty()) return;
  dispatcher_.mainQueue().postAfter(
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
    send_(record);
  } catch (const std::exception&) {
    isInFlight_ = false;
    log_("-[QuarnelRequestCache sendCachedRequest:]", "failed to start connection ",
         record->requestURL);
  }
}

void QuarnelRequestCache::removeFile(const QuarnelRequestCacheData& record) {
  const std::string path = cacheDirectoryPath_.value_or("") + "/" + record.cacheKey.value_or("");
  if (const auto reason = files_.remove(path)) {
    log_("-[QuarnelRequestCache deleteRequest:]", "Error deleting file at ", path, "\n", *reason);
  } else {
    ledger_.count(Tally::kReplayed);
  }
}

}  // namespace quarnel
