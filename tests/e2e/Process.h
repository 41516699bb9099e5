// A child process whose standard streams are in the hands of the test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace e2e {

using Clock = std::chrono::steady_clock;

// How long a test waits for what must happen. Never reached when all is well, so it is generous
// enough for a sanitizer's slowness on a loaded machine.
inline constexpr std::chrono::seconds kPatience{30};

// Collects the lines of a stream on a thread of its own, so that the writer never blocks.
class LineReader {
 public:
  explicit LineReader(int descriptor);
  ~LineReader();

  // The next line not yet taken; absent at the end of the stream or when the time is over.
  std::optional<std::string> next(Clock::time_point deadline);

  // Waits until some line, taken or not, meets the condition; false at the end of the stream or
  // when the time is over.
  bool waitFor(const std::function<bool(const std::string&)>& condition,
               Clock::time_point deadline);

  // Waits until everything up to the end of the stream is read.
  void waitForEnd(Clock::time_point deadline);

  std::vector<std::string> all() const;

 private:
  void read();
  bool waitForMore(std::unique_lock<std::mutex>& lock, std::size_t count,
                   Clock::time_point deadline);

  const int descriptor_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
  std::size_t taken_ = 0;
  bool ended_ = false;
  std::thread thread_;
};

class Process {
 public:
  // Starts the program; throws when it cannot.
  Process(const std::string& program, const std::vector<std::string>& arguments);
  // Kills the process if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Writes a line to its standard input. What a process that has ended no longer reads is dropped.
  void writeLine(const std::string& line);
  void closeInput();

  LineReader& output() { return *output_; }
  LineReader& errors() { return *errors_; }

  void signal(int number);
  pid_t id() const { return pid_; }

  // Waits for the end; the exit code, or the negative number of the signal that ended it. Absent
  // when the time is over.
  std::optional<int> wait(std::chrono::milliseconds timeout = kPatience);

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  std::optional<int> status_;
  std::optional<LineReader> output_;
  std::optional<LineReader> errors_;
};

}  // namespace e2e
