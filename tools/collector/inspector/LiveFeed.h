// Tells pages that are open of what is new.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace collector {

// Counts what has happened; a page that knows an earlier state sees what it has missed.
// Thread-safe.
class LiveFeed {
 public:
  struct State {
    unsigned arrivals = 0;
    unsigned clearings = 0;
    unsigned controlChanges = 0;

    bool operator==(const State&) const = default;
  };

  void arrived() { count(&State::arrivals); }
  void cleared() { count(&State::clearings); }
  void controlsChanged() { count(&State::controlChanges); }

  State state() const;

  // Returns when the state differs from the known one, after the time at the latest, or at the end.
  State waitForNews(const State& known, std::chrono::milliseconds time);

  // Nothing is waited for any more.
  void end();
  bool hasEnded() const;

 private:
  void count(unsigned State::*happening);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  State state_;
  bool ended_ = false;
};

}  // namespace collector
