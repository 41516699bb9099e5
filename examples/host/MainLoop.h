// The application's main loop.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace host {

// Runs tasks, in the order in which they were posted, on the thread that made it: the main thread.
// Lines of input are kept apart from the tasks, so that the loop can go on running tasks while the
// application is not ready for its next line.
class MainLoop {
 public:
  using Clock = std::chrono::steady_clock;

  // Any thread: adds a task. This is what the library gets as main executor.
  void post(std::function<void()> task);

  // The thread that reads the input: hands over one line; returns when it has been taken, so that
  // input never piles up here.
  void offerLine(std::string line);
  void endInput();

  // Main thread: runs tasks until there is a line and no task; absent at the end of the input.
  std::optional<std::string> nextLine();

  // Main thread: runs tasks until the moment has come or the condition, which a task makes true, is
  // met.
  void runUntil(Clock::time_point moment);
  void runUntil(const std::function<bool()>& condition);

  // Where the calling code runs: "main" in a task of this loop, "caller" elsewhere on the main
  // thread, "session" on any other thread.
  std::string_view currentQueue() const;

 private:
  void run(const std::function<bool()>& finished, std::optional<Clock::time_point> until);

  const std::thread::id mainThread_ = std::this_thread::get_id();
  bool isRunningTask_ = false;  // Touched by the main thread only.

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::optional<std::string> line_;
  bool inputEnded_ = false;
};

}  // namespace host
