#include "process/Calls.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "process/ProcessFigures.h"

namespace quarnel::bench {
namespace {

using Clock = std::chrono::steady_clock;

// The least that a call could do: hand a task over to a thread.
class BareQueue {
 public:
  using Task = std::function<void()>;

  BareQueue() : thread_([this] { run(); }) {}
  BareQueue(const BareQueue&) = delete;
  BareQueue& operator=(const BareQueue&) = delete;
  ~BareQueue() {
    post(nullptr);
    thread_.join();
  }

  void post(Task task) {
    {
      const std::lock_guard lock(mutex_);
      tasks_.push_back(std::move(task));
    }
    changed_.notify_one();
  }

 private:
  void run() {
    for (;;) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return !tasks_.empty(); });
      const Task task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      if (!task) return;
      task();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Task> tasks_;
  std::thread thread_;
};

extern "C" [[gnu::noinline]] void libraryCall(QuarnelTracker& tracker) {
  tracker.trackEventWithValues("purchase", Dictionary{{"qn_revenue", 9.99},
                                                      {"title", "Season 2"},
                                                      {"episode", 7},
                                                      {"hd", true},
                                                      {"from", "home"}});
}

extern "C" [[gnu::noinline]] void bareCall(BareQueue& queue) {
  using Properties = std::map<std::string, std::variant<double, std::string, std::int64_t, bool>>;
  Properties properties{{"qn_revenue", 9.99},
                        {"title", std::string("Season 2")},
                        {"episode", std::int64_t{7}},
                        {"hd", true},
                        {"from", std::string("home")}};
  queue.post([name = std::string("purchase"), properties = std::move(properties)] {});
}

template <typename Call>
void timeEach(const std::string& name, int count, std::chrono::microseconds pause, Call call) {
  std::vector<double> seconds;
  seconds.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    const auto start = Clock::now();
    call();
    seconds.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    if (pause.count() > 0) std::this_thread::sleep_for(pause);
  }
  std::sort(seconds.begin(), seconds.end());
  print(name + "-median", seconds[seconds.size() / 2]);
  print(name + "-p99", seconds[seconds.size() * 99 / 100]);
}

}  // namespace

void reportEvent(QuarnelTracker& tracker) { libraryCall(tracker); }

void timeCalls(QuarnelTracker& tracker, int count, std::chrono::microseconds pause) {
  timeEach("timer", count, std::chrono::microseconds(0), [] {});
  {
    BareQueue queue;
    timeEach("bare", count, pause, [&queue] { bareCall(queue); });
  }
  timeEach("call", count, pause, [&tracker] { libraryCall(tracker); });
}

void makeCountedCalls(QuarnelTracker& tracker, int count) {
  BareQueue queue;
  for (int i = 0; i < count; ++i) bareCall(queue);
  for (int i = 0; i < count; ++i) libraryCall(tracker);
}

}  // namespace quarnel::bench
