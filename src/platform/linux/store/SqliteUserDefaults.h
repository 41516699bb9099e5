#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/UserDefaults.h"
#include "platform/common/BoundedMutex.h"
#include "platform/linux/process/ProcessExit.h"
#include "platform/linux/store/SqliteFile.h"

namespace quarnel {

// The settings in memory, with an SQLite file behind them. Changes that nobody synchronises are
// committed a moment later, and at the end of the process; each commit also brings in what other
// processes have stored since the last one.
class SqliteUserDefaults final : public UserDefaults,
                                 public ExitParticipant,
                                 public std::enable_shared_from_this<SqliteUserDefaults> {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  static std::shared_ptr<SqliteUserDefaults> make(std::string path,
                                                  std::shared_ptr<SerialQueue> flushQueue,
                                                  std::shared_ptr<LogSink> log,
                                                  std::function<void()> whenSetAside = {});
  ~SqliteUserDefaults() override;

  std::optional<Value> get(std::string_view key) const override;
  void set(std::string_view key, Value value) override;
  void remove(std::string_view key) override;
  void update(const Change& change) override;
  bool updateWithin(std::chrono::milliseconds limit, const Change& change) override;
  bool synchronize() override;
  // The same, but waits for others no longer than this.
  bool synchronizeUntil(Deadline deadline);
  void processIsExiting() override;

 private:
  using Values = std::map<std::string, Value, std::less<>>;
  using Changes = std::map<std::string, std::optional<Value>, std::less<>>;

  SqliteUserDefaults(std::string path, std::shared_ptr<SerialQueue> flushQueue,
                     std::shared_ptr<LogSink> log, std::function<void()> whenSetAside);

  class MemoryEdit;

  void loadOnce() const;
  void postponeOrApply(const Change& change);
  void applyPostponed() const;
  void applyInMemory(const Change& change) const;
  bool commitAll(DeferredLog& log);
  bool commitChange(const Change& change);
  void change(std::string_view key, std::optional<Value> value);
  void scheduleFlush();
  bool prepareFile(DeferredLog& log) const;
  int load(sqlite3* database) const;
  int loadIfChanged(sqlite3* database) const;
  void mergeStored(Values stored) const;
  bool commit(DeferredLog& log, const std::function<void()>& change = {});
  int writeChanges(sqlite3* database, const Changes& changes, DeferredLog& log);

  const std::shared_ptr<SerialQueue> flushQueue_;
  const std::shared_ptr<LogSink> log_;
  std::atomic<bool> flushScheduled_ = false;

  // Taken first, and held while the disk is waited for.
  mutable BoundedMutex fileMutex_;
  mutable SqliteFile file_;
  mutable int knownGeneration_ = 0;
  mutable std::int64_t knownVersion_ = 0;  // Differs when another process has written.
  mutable std::atomic<bool> loaded_ = false;

  mutable std::mutex mutex_;
  mutable Values values_;
  mutable Changes uncommitted_;
  mutable std::vector<Change> postponed_;  // Until the values that they start from are there.
};

}  // namespace quarnel
