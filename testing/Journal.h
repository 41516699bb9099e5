#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace quarnel::testing {

// Everything that a tracker let the outside world see, in one order: log lines, changes of the
// stores, requests and their answers, and the callbacks that a test adds itself. A test compares
// what happened as a whole, with order, queue and moment.
class Journal {
 public:
  enum class Kind { kLog, kCallback, kHttp, kStore };
  struct Entry {
    Kind kind;
    std::string text;
    std::string queue;            // The label of the queue on which it happened.
    std::chrono::nanoseconds at;  // Since the simulation began; setting the clock does not count.
  };

  void add(Kind kind, std::string text, std::string queue, std::chrono::nanoseconds at) {
    entries_.push_back({kind, std::move(text), std::move(queue), at});
  }
  const std::vector<Entry>& entries() const { return entries_; }
  void clear() { entries_.clear(); }

 private:
  std::vector<Entry> entries_;
};

// "0.100000 main: store set QuarnelCounter = 1".
std::string describe(const Journal::Entry& entry);

}  // namespace quarnel::testing
