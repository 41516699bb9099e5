// A main loop without a framework: tasks wait in a queue.
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "MainLoop.h"

namespace loop {
namespace {

std::mutex mutex;
std::condition_variable arrived;
std::deque<std::function<void()>> tasks;
bool isRunning = true;  // Only used on the loop's thread.

}  // namespace

void post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex);
    tasks.push_back(std::move(task));
  }
  arrived.notify_one();
}

void run() {
  while (isRunning) {
    std::unique_lock lock(mutex);
    arrived.wait(lock, [] { return !tasks.empty(); });
    const std::function<void()> task = std::move(tasks.front());
    tasks.pop_front();
    lock.unlock();  // A task may post.
    task();
  }
}

void quit() { isRunning = false; }

}  // namespace loop
