#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace quarnel::bench {

// A folder in the working directory, so that the figures are those of its file system, not of a
// /tmp in memory. Gone with its content afterwards.
class Directory {
 public:
  Directory() {
    std::string pattern = std::filesystem::current_path().string() + "/quarnel-bench-XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~Directory() { std::filesystem::remove_all(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace quarnel::bench
