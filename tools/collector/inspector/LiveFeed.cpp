#include "inspector/LiveFeed.h"

namespace collector {

void LiveFeed::start(std::int64_t newest, std::int64_t count) {
  const std::lock_guard lock(mutex_);
  state_.newest = newest;
  state_.count = count;
}

void LiveFeed::arrived(std::int64_t id) {
  const std::lock_guard lock(mutex_);
  if (id > state_.newest) state_.newest = id;
  ++state_.count;
  changed_.notify_all();
}

void LiveFeed::cleared() {
  const std::lock_guard lock(mutex_);
  state_.newest = 0;
  state_.count = 0;
  ++state_.clearings;
  changed_.notify_all();
}

void LiveFeed::controlsChanged() {
  const std::lock_guard lock(mutex_);
  ++state_.controlChanges;
  changed_.notify_all();
}

LiveFeed::State LiveFeed::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

LiveFeed::State LiveFeed::waitForNews(const State& known, std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, time, [&] { return ended_ || state_ != known; });
  return state_;
}

void LiveFeed::end() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

bool LiveFeed::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

}  // namespace collector
