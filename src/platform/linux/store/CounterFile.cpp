#include "platform/linux/store/CounterFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/linux/store/Directories.h"
#include "platform/linux/store/FileDescriptor.h"

namespace quarnel {
namespace {

// Long enough for a burst of reports to share one use of the file.
constexpr std::chrono::milliseconds kSaveDelay{10};

// Others hold the lock for microseconds, unless they were stopped while they held it. Then
// diagnostics(), drain() and the end of the process go on without the file.
constexpr std::chrono::milliseconds kLockWait{200};
constexpr std::chrono::milliseconds kLockRetry{1};

constexpr std::uint64_t kMagic = 0x31746e756f636e71;  // "qncount1"

struct Image {
  std::uint64_t magic = kMagic;
  CounterStore::Totals totals{};
  std::uint64_t checksum = 0;

  // FNV-1a over what stands before the checksum.
  std::uint64_t expectedChecksum() const {
    std::uint64_t hash = 0xcbf29ce484222325;
    const auto add = [&hash](std::uint64_t number) {
      for (int shift = 0; shift < 64; shift += 8) {
        hash = (hash ^ (number >> shift & 0xff)) * 0x100000001b3;
      }
    };
    add(magic);
    std::for_each(totals.begin(), totals.end(), add);
    return hash;
  }
};

bool lockWithin(std::chrono::milliseconds limit, int file) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (::flock(file, LOCK_EX | LOCK_NB) != 0) {
    const bool mayPass = errno == EWOULDBLOCK || errno == EINTR;
    if (!mayPass || std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kLockRetry);
  }
  return true;
}

std::string reason() { return std::generic_category().message(errno); }

}  // namespace

std::shared_ptr<CounterFile> CounterFile::make(std::string path, std::shared_ptr<SerialQueue> queue,
                                               std::shared_ptr<LogSink> log) {
  std::shared_ptr<CounterFile> file(
      new CounterFile(std::move(path), std::move(queue), std::move(log)));
  callAtExit(file);
  return file;
}

CounterFile::CounterFile(std::string path, std::shared_ptr<SerialQueue> queue,
                         std::shared_ptr<LogSink> log)
    : path_(std::move(path)), queue_(std::move(queue)), log_(std::move(log)) {}

void CounterFile::increment(std::size_t counter) {
  fresh_[counter].fetch_add(1, std::memory_order_relaxed);
}

void CounterFile::saveSoon() {
  if (isScheduled_.load(std::memory_order_relaxed) || isScheduled_.exchange(true)) return;
  queue_->postAfter(kSaveDelay, [this] {
    isScheduled_ = false;  // Before saving: what is counted meanwhile is not forgotten.
    save();
  });
}

void CounterFile::save() {
  const std::lock_guard lock(mutex_);
  const bool isChanged = std::any_of(fresh_.begin(), fresh_.end(),
                                     [](const auto& count) { return count.load() != 0; });
  if (isChanged) merge();
}

CounterFile::Totals CounterFile::totals() {
  const std::lock_guard lock(mutex_);
  if (!isLoaded_) merge();
  Totals totals = saved_;
  for (std::size_t i = 0; i < kCounters; ++i) totals[i] += fresh_[i].load();
  return totals;
}

// What cannot be saved now is tried again with what is counted next.
void CounterFile::merge() {
  isLoaded_ = true;
  if (const auto why = makeDirectories(parentDirectory(path_)))
    return complain("has no folder: " + *why);
  const FileDescriptor file(
      ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0)
    return complain("cannot be opened: " + reason());
  if (!S_ISREG(status.st_mode)) return complain("is no file");
  if (!lockWithin(kLockWait, file.get())) {
    isLoaded_ = false;  // The next question may find it free.
    return complain("cannot be locked: " + reason());
  }
  Image image;
  image.totals = read(file.get());
  Totals added{};
  for (std::size_t i = 0; i < kCounters; ++i) {
    added[i] = fresh_[i].load();
    image.totals[i] += added[i];
  }
  saved_ = image.totals;
  for (std::size_t i = 0; i < kCounters; ++i) saved_[i] -= added[i];
  if (added == Totals{}) return;
  image.checksum = image.expectedChecksum();
  if (::pwrite(file.get(), &image, sizeof image, 0) != static_cast<ssize_t>(sizeof image)) {
    return complain("cannot be written: " + reason());
  }
  saved_ = image.totals;
  for (std::size_t i = 0; i < kCounters; ++i) fresh_[i] -= added[i];
}

CounterFile::Totals CounterFile::read(int file) {
  Image image;
  const ssize_t length = ::pread(file, &image, sizeof image, 0);
  if (length == 0) return {};  // A new one.
  const bool isSound = length == static_cast<ssize_t>(sizeof image) && image.magic == kMagic &&
                       image.checksum == image.expectedChecksum();
  if (isSound) return image.totals;
  complain("is damaged and starts at zero");
  return {};
}

void CounterFile::complain(const std::string& what) {
  if (std::exchange(hasComplained_, true)) return;
  log_->write("Quarnel: the file of counters " + what);
}

}  // namespace quarnel
