// libdispatch, as far as the library uses it: a thread for each queue that has something to do, one
// for each delay, and a main queue that runMainQueueUntil() runs.
#include <dispatch/dispatch.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace {

struct Item {
  void* context;
  dispatch_function_t work;
};

thread_local const std::string* currentLabel = nullptr;

}  // namespace

struct dispatch_queue_s {
  std::string label;
  std::atomic<int> references = 1;
  std::mutex mutex;
  std::condition_variable arrived;
  std::deque<Item> items;
  bool isRunning = false;
};

// Leaked, so that what ends late finds it. The name is the platform's.
dispatch_queue_s _dispatch_main_q{.label = "com.apple.main-thread"};

namespace {

void runAll(dispatch_queue_t queue) {
  currentLabel = &queue->label;
  for (;;) {
    Item item;
    {
      const std::lock_guard lock(queue->mutex);
      if (queue->items.empty()) {
        queue->isRunning = false;
        break;
      }
      item = queue->items.front();
      queue->items.pop_front();
    }
    item.work(item.context);
  }
  currentLabel = nullptr;
  dispatch_release(queue);
}

}  // namespace

namespace doubles {

bool runMainQueueUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  currentLabel = &_dispatch_main_q.label;
  for (;;) {
    if (condition()) break;
    if (std::chrono::steady_clock::now() > deadline) {
      currentLabel = nullptr;
      return false;
    }
    std::unique_lock lock(_dispatch_main_q.mutex);
    _dispatch_main_q.arrived.wait_for(lock, std::chrono::milliseconds(5),
                                      [] { return !_dispatch_main_q.items.empty(); });
    if (_dispatch_main_q.items.empty()) continue;
    const Item item = _dispatch_main_q.items.front();
    _dispatch_main_q.items.pop_front();
    lock.unlock();
    item.work(item.context);
  }
  currentLabel = nullptr;
  return true;
}

std::string currentQueueLabel() { return currentLabel != nullptr ? *currentLabel : ""; }

}  // namespace doubles

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t) {
  return new dispatch_queue_s{.label = label};
}

void dispatch_retain(dispatch_queue_t queue) { ++queue->references; }

void dispatch_release(dispatch_queue_t queue) {
  if (--queue->references == 0 && queue != &_dispatch_main_q) delete queue;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  const std::lock_guard lock(queue->mutex);
  queue->items.push_back({context, work});
  queue->arrived.notify_all();
  if (queue == &_dispatch_main_q || queue->isRunning) return;
  queue->isRunning = true;
  dispatch_retain(queue);
  std::thread(runAll, queue).detach();
}

dispatch_time_t dispatch_time(dispatch_time_t, int64_t delta) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<dispatch_time_t>(std::chrono::nanoseconds(now).count() + delta);
}

void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                      dispatch_function_t work) {
  dispatch_retain(queue);
  std::thread([=] {
    std::this_thread::sleep_until(
        std::chrono::steady_clock::time_point(std::chrono::nanoseconds(when)));
    dispatch_async_f(queue, context, work);
    dispatch_release(queue);
  }).detach();
}
