#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

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
  std::chrono::seconds utcOffset(Date) const override { return utcOffset_; }

  void setNow(Date now);
  void setUtcOffset(std::chrono::seconds offset) { utcOffset_ = offset; }
  void post(const std::string& label, std::chrono::nanoseconds delay, Task task);
  void advance(std::chrono::nanoseconds by);
  bool runNext();
  bool isIdle() const { return tasks_.empty(); }
  const std::string& currentQueue() const { return currentQueue_; }
  void dropTasks() { tasks_.clear(); }

 private:
  struct Entry {
    std::string label;
    Task task;
  };
  using Key = std::pair<std::chrono::nanoseconds, std::uint64_t>;

  void run(std::map<Key, Entry>::iterator entry);

  std::chrono::nanoseconds elapsed_{0};
  Date start_;
  std::chrono::seconds utcOffset_{0};
  std::uint64_t posted_ = 0;
  std::map<Key, Entry> tasks_;
  std::string currentQueue_ = "caller";
  std::shared_ptr<SerialQueue> mainQueue_;
};

}  // namespace quarnel::testing
