#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "platform/CounterStore.h"
#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/linux/process/ProcessExit.h"

namespace quarnel {

// Counters in a file of some hundred bytes, to which each process adds what it has counted, under a
// lock. Not flushed to the disk: only a power failure costs anything, and then the newest numbers.
// A file that is damaged counts as empty; it is written anew.
class CounterFile final : public CounterStore, public ExitParticipant {
 public:
  // `queue` is for saving; nobody waits for it.
  static std::shared_ptr<CounterFile> make(std::string path, std::shared_ptr<SerialQueue> queue,
                                           std::shared_ptr<LogSink> log);

  void increment(std::size_t counter) override;
  void saveSoon() override;
  Totals totals() override;

  void save();
  void processIsExiting() override { save(); }

 private:
  CounterFile(std::string path, std::shared_ptr<SerialQueue> queue, std::shared_ptr<LogSink> log);
  void merge();
  Totals read(int file);
  void complain(const std::string& what);

  const std::string path_;
  const std::shared_ptr<SerialQueue> queue_;
  const std::shared_ptr<LogSink> log_;
  std::array<std::atomic<std::uint64_t>, kCounters> fresh_{};  // Not saved yet.
  std::atomic<bool> isScheduled_ = false;

  std::mutex mutex_;  // Guards what follows; held while the file is used.
  Totals saved_{};    // As of the last use of the file.
  bool isLoaded_ = false;
  bool hasComplained_ = false;
};

}  // namespace quarnel
