// Tells pages that are open of what is new.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace collector {

// Counts what has happened; a page that knows an earlier state sees what it has missed.
// Thread-safe.
class LiveFeed {
 public:
  struct State {
    std::int64_t newest = 0;  // Identifies the request that arrived last.
    std::int64_t count = 0;   // How many are stored.
    unsigned clearings = 0;
    unsigned controlChanges = 0;

    bool operator==(const State&) const = default;
  };

  void start(std::int64_t newest, std::int64_t count);
  void arrived(std::int64_t id);
  void cleared();
  void controlsChanged();

  State state() const;

  // Returns when the state differs from the known one, after the time at the latest, or at the end.
  State waitForNews(const State& known, std::chrono::milliseconds time);

  // Nothing is waited for any more.
  void end();
  bool hasEnded() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  State state_;
  bool ended_ = false;
};

}  // namespace collector
