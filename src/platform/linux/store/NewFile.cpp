#include "platform/linux/store/NewFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>

#include "platform/linux/store/Directories.h"
#include "platform/linux/store/FileDescriptor.h"

namespace quarnel {
namespace {

constexpr std::string_view kTemporaryMark = ".tmp-";
constexpr std::chrono::hours kLongestWriting{1};

int writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(descriptor, content.data(), content.size());
    if (written > 0) {
      content.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0) {
      return EIO;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int flush(int descriptor) {
  int result = 0;
  do {
    result = ::fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

FileDescriptor openDirectory(const std::string& path) {
  return FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::string lastComponent(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

// Makes the new name durable, or takes it back: half a promise is no use to the caller.
int flushName(int directory, const std::string& name) {
  const int error = flush(directory);
  // Some file systems cannot flush directories; they have their own ways.
  if (error == 0 || error == EINVAL) return 0;
  ::unlinkat(directory, name.c_str(), 0);
  return error;
}

}  // namespace

int createFileDurably(const std::string& path, std::string_view content) {
  const FileDescriptor directory = openDirectory(parentDirectory(path));
  if (!directory.valid()) return errno;
  const FileDescriptor file(::openat(directory.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  if (!file.valid()) {
    const bool unsupported = errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
    return unsupported ? createFileByTemporaryName(path, content) : errno;
  }
  if (const int error = writeAll(file.get(), content)) return error;
  if (const int error = flush(file.get())) return error;
  const std::string unnamed = "/proc/self/fd/" + std::to_string(file.get());
  const std::string name = lastComponent(path);
  if (::linkat(AT_FDCWD, unnamed.c_str(), directory.get(), name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
    // /proc may be missing.
    return errno == ENOENT ? createFileByTemporaryName(path, content) : errno;
  }
  return flushName(directory.get(), name);
}

int createFileByTemporaryName(const std::string& path, std::string_view content) {
  static std::atomic<unsigned> number = 0;
  const FileDescriptor directory = openDirectory(parentDirectory(path));
  if (!directory.valid()) return errno;
  const std::string name = lastComponent(path);
  const std::string temporary = "." + name + std::string(kTemporaryMark) +
                                std::to_string(::getpid()) + "-" + std::to_string(++number);
  int error = 0;
  {
    const FileDescriptor file(::openat(directory.get(), temporary.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.valid()) return errno;
    error = writeAll(file.get(), content);
    if (error == 0) error = flush(file.get());
  }
  // Unlike rename(), a link never replaces what is there.
  if (error == 0 &&
      ::linkat(directory.get(), temporary.c_str(), directory.get(), name.c_str(), 0) != 0) {
    error = errno;
  }
  ::unlinkat(directory.get(), temporary.c_str(), 0);
  return error == 0 ? flushName(directory.get(), name) : error;
}

bool isTemporaryName(std::string_view name) {
  const std::size_t mark = name.rfind(kTemporaryMark);
  return name.substr(0, 1) == "." && mark != std::string_view::npos &&
         name.find_first_not_of("0123456789-", mark + kTemporaryMark.size()) ==
             std::string_view::npos;
}

void removeIfAbandoned(int directory, const std::string& name) {
  struct stat status {};
  if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  const auto written = std::chrono::system_clock::from_time_t(status.st_mtime);
  if (std::chrono::system_clock::now() - written < kLongestWriting) return;
  ::unlinkat(directory, name.c_str(), 0);
}

}  // namespace quarnel
