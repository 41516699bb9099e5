#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "installation/Ledger.h"
#include "platform/Clock.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "transport/QuarnelRequestCacheData.h"
#include "util/DebugLog.h"

namespace quarnel {

// Keeps reports that could not be delivered, one file each, and sends them again, one after
// another, once a fresh report has got through. docs/offline-cache.md tells the file format and the
// rules.
//
// All work runs on one serial queue of the cache's own; the operations may be called from any
// thread and take effect in the order of the calls.
//
//   idle       `cachedRequests_` is empty. processCache loads the directory and, when it holds
//              records, starts a replay 0.1 seconds later by way of the main queue.
//   replaying  The head of `cachedRequests_` is sent next, when the exchange of the record before
//              it has ended, whatever its outcome. processCache does nothing.
//
// A record leaves the list when it is sent, not when its answer comes. While the last one is in
// flight the list is empty, so that a processCache may load its file again: that record can be
// delivered twice.
class QuarnelRequestCache {
 public:
  // Sends a record; the owner calls sendNextCachedEvents when its exchange has ended.
  using Send = std::function<void(const RequestRecord& record)>;

  QuarnelRequestCache(FileSystem& files, Dispatcher& dispatcher, const Clock& clock,
                      const std::string& queueLabel, Ledger& ledger, const DebugLog& log,
                      Send send);

  // A fresh report failed. `done` is called once it is on disk, or lost and counted.
  void cacheRequest(RequestRecord record, std::function<void()> done);
  void processCache();                       // A fresh report got through.
  void deleteRequest(RequestRecord record);  // A replayed report got through.
  void sendNextCachedEvents();               // The exchange of a replayed report has ended.

 private:
  std::optional<std::string> getCacheDirectoryPath();
  void initialize();
  std::size_t getCacheSize(const std::string& directory) const;
  std::deque<RequestRecord> getCachedRequests();
  void write(const QuarnelRequestCacheData& record);
  std::optional<std::string> writeFile(const std::string& content, std::string& path);
  void tellLedger(const std::vector<std::string>& names);
  void countUnreadable(const std::string& name);
  void setAside(const std::string& name);
  void load();
  void startReplay(unsigned load);
  void sendNext();
  void sendCachedRequest(const RequestRecord& record);
  void removeFile(const QuarnelRequestCacheData& record);

  FileSystem& files_;
  Dispatcher& dispatcher_;
  const Clock& clock_;
  Ledger& ledger_;
  const DebugLog& log_;
  const Send send_;
  const std::shared_ptr<SerialQueue> queue_;
  std::atomic<bool> isLoadQueued_ = false;

  // Touched on the queue only.
  std::deque<RequestRecord> cachedRequests_;
  bool isSendingCachedData_ = false;  // Guards processCache, but nothing ever sets it.
  bool isInFlight_ = false;           // One replayed request at a time.
  unsigned loads_ = 0;                // Tells a delayed start which load it belongs to.
  std::optional<std::string> cacheDirectoryPath_;
  bool failedToInitialize_ = false;
  std::set<std::string> unreadable_;  // The names of files that were counted as such.
};

}  // namespace quarnel
