#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include "platform/LogSink.h"

namespace quarnel::test {

inline constexpr std::chrono::seconds kPatience{20};

inline constexpr char kParentVariable[] = "QUARNEL_TEST_DIRECTORY";

// A directory that is gone with its content after the test.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    // A process that a test starts to see it die cannot clean up: its parent's directory takes it.
    const char* const parent = ::getenv(kParentVariable);
    std::string pattern = std::string(parent ? parent : "/tmp") + "/quarnel-test-XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

class RecordingLog final : public LogSink {
 public:
  void write(std::string_view line) override {
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

// A number that threads raise and others wait for.
class Counter {
 public:
  void add() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  bool waitFor(int count, std::chrono::milliseconds patience = kPatience) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return count_ >= count; });
  }
  int count() const {
    const std::lock_guard lock(mutex_);
    return count_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int count_ = 0;
};

inline void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline mode_t modeOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

inline std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

}  // namespace quarnel::test
