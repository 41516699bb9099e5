#include "platform/linux/store/ProcessMark.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string_view>
#include <system_error>

#include "platform/linux/store/Directories.h"
#include "util/Limits.h"

namespace quarnel {
namespace {

constexpr std::string_view kPrefix = "alive-";

std::string randomName() {
  std::random_device device;
  char digits[33];
  std::snprintf(digits, sizeof digits, "%08x%08x%08x%08x", device(), device(), device(), device());
  return std::string(kPrefix) + digits;
}

bool isOnDisk(int file) {
  struct stat status {};
  return ::fstat(file, &status) == 0 && status.st_nlink > 0;
}

bool tryLock(int file) { return ::flock(file, LOCK_EX | LOCK_NB) == 0; }

}  // namespace

bool ProcessMark::isIntact() const { return file_.valid() && isOnDisk(file_.get()); }

bool ProcessMark::make() {
  if (isIntact()) return true;
  if (makeDirectories(folder_)) return false;
  for (int attempt = 0; attempt < limits::kNameAttempts; ++attempt) {
    const std::string name = randomName();
    FileDescriptor file(::open((folder_ + "/" + name).c_str(),
                               O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.valid()) return false;
    // Before the lock was there, somebody may have taken the file for that of an ended process.
    if (!tryLock(file.get()) || !isOnDisk(file.get())) continue;
    file_ = std::move(file);
    name_ = name;
    return true;
  }
  return false;
}

ProcessMark::Others::Others(const ProcessMark& own) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(own.folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!name.starts_with(kPrefix) || name == own.name_) continue;
    // A FIFO does not block here, and nothing else than a file can be a mark.
    FileDescriptor file(
        ::open(entry->path().c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.valid() && errno == ENOENT) continue;
    if (file.valid() && tryLock(file.get())) {
      ended_.push_back({entry->path().string(), std::move(file)});
    } else {
      living_.push_back(name);
    }
  }
  isKnown_ = !error;
}

bool ProcessMark::Others::lives(const std::string& name) const {
  return std::find(living_.begin(), living_.end(), name) != living_.end();
}

void ProcessMark::Others::removeEnded() const {
  for (const Ended& mark : ended_) ::unlink(mark.path.c_str());
}

}  // namespace quarnel
