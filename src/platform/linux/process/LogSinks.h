#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/LogSink.h"

namespace quarnel {

// Writes each line to a file descriptor with one system call. A reader that has gone away costs
// lines, never the process.
class DescriptorLogSink final : public LogSink {
 public:
  explicit DescriptorLogSink(int descriptor) : descriptor_(descriptor) {}
  void write(std::string_view line) override;

 private:
  void writeAll(std::string_view text);

  const int descriptor_;
  std::mutex mutex_;  // Keeps a line together when the system takes it in pieces.
};

// Hands each line to the host application.
class HostLogSink final : public LogSink {
 public:
  explicit HostLogSink(std::function<void(std::string_view)> sink) : sink_(std::move(sink)) {}
  void write(std::string_view line) override;

 private:
  const std::function<void(std::string_view)> sink_;
};

// Collects lines while locks are held and writes them when it goes out of scope: declare it before
// the lock.
class DeferredLog {
 public:
  explicit DeferredLog(LogSink& sink) : sink_(sink) {}
  DeferredLog(const DeferredLog&) = delete;
  DeferredLog& operator=(const DeferredLog&) = delete;
  ~DeferredLog() {
    for (const std::string& line : lines_) sink_.write(line);
  }

  void add(std::string line) { lines_.push_back("Quarnel: " + std::move(line)); }

 private:
  LogSink& sink_;
  std::vector<std::string> lines_;
};

}  // namespace quarnel
