#pragma once

#include <sys/stat.h>

#include <chrono>
#include <mutex>
#include <optional>

namespace quarnel {

// Remembers a folder that was seen empty: as long as its status does not change, it still is. The
// offline cache is asked for its records after each delivery, and hardly ever has any. Thread-safe.
class EmptyFolder {
 public:
  // `status` is that from before the listing.
  void wasSeen(const struct stat& status) {
    // A change that comes so soon after another may not show in the time.
    constexpr std::chrono::seconds kResolution{3};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const bool isTelling = now - std::chrono::seconds(status.st_ctim.tv_sec) > kResolution;
    const std::lock_guard lock(mutex_);
    status_ = isTelling ? std::optional(status) : std::nullopt;
  }

  bool isUnchanged(const struct stat& status) const {
    const std::lock_guard lock(mutex_);
    return status_ && status_->st_dev == status.st_dev && status_->st_ino == status.st_ino &&
           status_->st_ctim.tv_sec == status.st_ctim.tv_sec &&
           status_->st_ctim.tv_nsec == status.st_ctim.tv_nsec;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<struct stat> status_;
};

}  // namespace quarnel
