#include "MainLoop.h"

#include <utility>

namespace host {

void MainLoop::post(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
  changed_.notify_all();
}

void MainLoop::offerLine(std::string line) {
  std::unique_lock lock(mutex_);
  line_ = std::move(line);
  changed_.notify_all();
  changed_.wait(lock, [this] { return !line_; });
}

void MainLoop::endInput() {
  const std::lock_guard lock(mutex_);
  inputEnded_ = true;
  changed_.notify_all();
}

std::optional<std::string> MainLoop::nextLine() {
  run([this] { return line_ || inputEnded_; }, std::nullopt);
  const std::lock_guard lock(mutex_);
  changed_.notify_all();
  return std::exchange(line_, std::nullopt);
}

void MainLoop::runUntil(Clock::time_point moment) {
  run([moment] { return Clock::now() >= moment; }, moment);
}

void MainLoop::runUntil(const std::function<bool()>& condition) { run(condition, std::nullopt); }

std::string_view MainLoop::currentQueue() const {
  if (std::this_thread::get_id() != mainThread_) return "session";
  return isRunningTask_ ? "main" : "caller";
}

void MainLoop::run(const std::function<bool()>& finished, std::optional<Clock::time_point> until) {
  std::unique_lock lock(mutex_);
  while (true) {
    if (!tasks_.empty()) {
      const auto task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      isRunningTask_ = true;
      task();
      isRunningTask_ = false;
      lock.lock();
    } else if (finished()) {
      return;
    } else if (until) {
      changed_.wait_until(lock, *until);
    } else {
      changed_.wait(lock);
    }
  }
}

}  // namespace host
