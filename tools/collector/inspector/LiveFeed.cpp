#include "inspector/LiveFeed.h"

namespace collector {

void LiveFeed::count(unsigned State::*happening) {
  const std::lock_guard lock(mutex_);
  ++(state_.*happening);
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
