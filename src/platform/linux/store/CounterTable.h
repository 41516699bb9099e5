#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/CounterStore.h"
#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/common/BoundedMutex.h"
#include "platform/linux/process/ProcessExit.h"
#include "platform/linux/store/ProcessMark.h"
#include "platform/linux/store/SqliteFile.h"

namespace quarnel {

// Counters in a database of their own, to which each process adds what it has counted. Beside the
// totals it has a row for each living process with reports on their way: how many it has accepted,
// and how many of them have ended. Whoever saves looks which of the processes have died since, and
// counts the difference as lost with them.
//
// Not flushed to the disk: only a power failure costs anything, and then the newest numbers.
class CounterTable final : public CounterStore,
                           public ExitParticipant,
                           public std::enable_shared_from_this<CounterTable> {
 public:
  // `queue` is for saving; nobody waits for it. What an older version has counted in the file
  // `report-counters` of the same folder is taken over when the database is made.
  static std::shared_ptr<CounterTable> make(const std::string& folder,
                                            std::shared_ptr<SerialQueue> queue,
                                            std::shared_ptr<LogSink> log);

  void increment(Tally tally) override;
  void saveSoon() override;
  void recordsListed(std::uint64_t records) override;
  Totals totals() override;

  // Adds what is new, and learns what others have counted. False when the file could not be used.
  // Waits for others until the deadline at most.
  bool saveUntil(std::chrono::steady_clock::time_point deadline);
  void processIsExiting() override;

 private:
  bool saveWithin(std::chrono::milliseconds limit);
  struct Listing {
    std::uint64_t number;
    std::uint64_t records;
    Totals fresh;  // Counted, but not saved then.
  };
  struct Merge {
    Totals stored{};
    Totals added{};    // Counted by this process.
    Totals noticed{};  // Found out while saving.
    std::optional<Listing> listing;
  };

  CounterTable(const std::string& folder, std::shared_ptr<SerialQueue> queue,
               std::shared_ptr<LogSink> log);
  Totals fresh() const;
  bool merge(DeferredLog& log);
  int write(sqlite3* database, const ProcessMark::Others& others, Merge& merge);
  int buryEnded(sqlite3* database, const ProcessMark::Others& others, Totals& noticed);
  int writeOwnRow(sqlite3* database, const Totals& added);
  void remember(const Merge& merge);

  const std::string formerFile_;
  const std::shared_ptr<SerialQueue> queue_;
  const std::shared_ptr<LogSink> log_;
  std::array<std::atomic<std::uint64_t>, kCounters> fresh_{};  // Not saved yet.
  std::atomic<bool> isScheduled_ = false;

  BoundedMutex fileMutex_;  // Taken first, and held while the disk is waited for.
  SqliteFile file_;
  ProcessMark mark_;
  std::string rowName_;  // The mark under which this process has its row.

  std::mutex mutex_;                // For memory only.
  Totals saved_{};                  // As of the last use of the file.
  std::optional<Listing> listing_;  // To be compared with the totals.
  std::uint64_t listings_ = 0;
  std::atomic<bool> isLoaded_ = false;
};

}  // namespace quarnel
