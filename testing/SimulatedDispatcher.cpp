#include "SimulatedDispatcher.h"

#include <algorithm>
#include <iterator>

namespace quarnel::testing {
namespace {

constexpr Date kStart =
    std::chrono::sys_days(std::chrono::year(2016) / 3 / 5) + std::chrono::minutes(14 * 60 + 7);

class SimulatedQueue : public SerialQueue {
 public:
  SimulatedQueue(SimulatedDispatcher& dispatcher, std::string label)
      : dispatcher_(dispatcher), label_(std::move(label)) {}
  void post(Task task) override {
    dispatcher_.post(label_, std::chrono::nanoseconds(0), std::move(task));
  }
  void postAfter(std::chrono::nanoseconds delay, Task task) override {
    dispatcher_.post(label_, delay, std::move(task));
  }

 private:
  SimulatedDispatcher& dispatcher_;
  const std::string label_;
};

}  // namespace

SimulatedDispatcher::SimulatedDispatcher() : start_(kStart), mainQueue_(makeSerialQueue("main")) {}

std::shared_ptr<SerialQueue> SimulatedDispatcher::makeSerialQueue(std::string label) {
  labels_.push_back(label);
  return std::make_shared<SimulatedQueue>(*this, std::move(label));
}

Date SimulatedDispatcher::now() const {
  return start_ + std::chrono::duration_cast<Date::duration>(elapsed_);
}

std::chrono::seconds SimulatedDispatcher::utcOffset(Date at) const {
  const auto next = utcOffsets_.upper_bound(at);
  return next == utcOffsets_.begin() ? std::chrono::seconds(0) : std::prev(next)->second;
}

void SimulatedDispatcher::setUtcOffset(std::chrono::seconds offset) {
  utcOffsets_ = {{Date::min(), offset}};
}

void SimulatedDispatcher::record(Journal::Kind kind, std::string text) {
  journal_.add(kind, std::move(text), currentQueue_, elapsed_);
}

void SimulatedDispatcher::setNow(Date now) { start_ += now - this->now(); }

void SimulatedDispatcher::post(const std::string& label, std::chrono::nanoseconds delay,
                               Task task) {
  const auto due = elapsed_ + std::max(delay, std::chrono::nanoseconds(0));
  tasks_.emplace(Key{due, posted_++}, Entry{label, std::move(task)});
}

void SimulatedDispatcher::run(std::map<Key, Entry>::iterator entry) {
  const Entry running = std::move(entry->second);
  tasks_.erase(entry);
  const std::string outer = std::exchange(currentQueue_, running.label);
  running.task();
  currentQueue_ = outer;
}

void SimulatedDispatcher::advance(std::chrono::nanoseconds by) {
  const auto end = elapsed_ + by;
  while (!tasks_.empty() && tasks_.begin()->first.first <= end) {
    elapsed_ = std::max(elapsed_, tasks_.begin()->first.first);
    run(tasks_.begin());
  }
  elapsed_ = end;
}

bool SimulatedDispatcher::runNext() {
  if (tasks_.empty() || tasks_.begin()->first.first > elapsed_) return false;
  run(tasks_.begin());
  return true;
}

}  // namespace quarnel::testing
