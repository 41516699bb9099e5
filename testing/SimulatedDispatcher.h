#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Journal.h"
#include "platform/Clock.h"
#include "platform/Dispatcher.h"

namespace quarnel::testing {

// The clock and all queues: one list of tasks, ordered by the moment at which they fall due and
// then by the order of posting. Tasks of all queues run on the one thread of the test.
class SimulatedDispatcher final : public Dispatcher, public Clock {
 public:
  SimulatedDispatcher();

  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  SerialQueue& mainQueue() override { return *mainQueue_; }

  Date now() const override;
  std::chrono::seconds utcOffset(Date at) const override;

  void setNow(Date now);
  // One offset for all time, or another one from a moment on.
  void setUtcOffset(std::chrono::seconds offset);
  void setUtcOffset(Date from, std::chrono::seconds offset) { utcOffsets_[from] = offset; }

  void post(const std::string& label, std::chrono::nanoseconds delay, Task task);
  void advance(std::chrono::nanoseconds by);
  bool runNext();
  bool isIdle() const { return tasks_.empty(); }
  const std::string& currentQueue() const { return currentQueue_; }
  void dropTasks() { tasks_.clear(); }

  // The labels of all queues that were ever made, in that order; "main" is the first.
  const std::vector<std::string>& labels() const { return labels_; }

  // Writes down what happens now, on the queue that is running.
  void record(Journal::Kind kind, std::string text);
  const Journal& journal() const { return journal_; }
  void clearJournal() { journal_.clear(); }

 private:
  struct Entry {
    std::string label;
    Task task;
  };
  using Key = std::pair<std::chrono::nanoseconds, std::uint64_t>;

  void run(std::map<Key, Entry>::iterator entry);

  std::chrono::nanoseconds elapsed_{0};
  Date start_;
  std::map<Date, std::chrono::seconds> utcOffsets_;  // By the moment from which they hold.
  std::uint64_t posted_ = 0;
  std::map<Key, Entry> tasks_;
  std::string currentQueue_ = "caller";
  std::vector<std::string> labels_;
  std::shared_ptr<SerialQueue> mainQueue_;
  Journal journal_;
};

}  // namespace quarnel::testing
