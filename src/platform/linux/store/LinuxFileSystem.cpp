#include "platform/linux/store/LinuxFileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/linux/store/Directories.h"
#include "platform/linux/store/FileDescriptor.h"
#include "platform/linux/store/NewFile.h"

namespace quarnel {
namespace {

constexpr char kFirstSeenMarker[] = "/.first-seen";

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string madeDirectory(const std::string& path) {
  // Without it every use of the directory fails and says so.
  static_cast<void>(makeDirectories(path));
  return path;
}

Date toDate(const struct statx_timestamp& time) {
  return Date(std::chrono::floor<Date::duration>(std::chrono::seconds(time.tv_sec) +
                                                 std::chrono::nanoseconds(time.tv_nsec)));
}

std::optional<struct statx> attributes(const std::string& path) {
  struct statx result {};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_MTIME | STATX_BTIME,
              &result) != 0 ||
      S_ISLNK(result.stx_mode)) {
    return std::nullopt;
  }
  return result;
}

}  // namespace

ApplicationDirectories applicationDirectories(const std::optional<std::string>& stateDirectory,
                                              const std::optional<std::string>& bundleIdentifier) {
  if (stateDirectory) {
    const std::string base = withoutTrailingSlashes(*stateDirectory);
    return {base + "/Library", base + "/Caches", base + "/tmp"};
  }
  const std::string folder = "/" + applicationFolderName(bundleIdentifier);
  return {xdgDataHome() + folder + "/Library", xdgCacheHome() + folder,
          userTemporaryDirectory() + folder};
}

LinuxFileSystem::LinuxFileSystem(ApplicationDirectories directories)
    : directories_(std::move(directories)) {}

std::string LinuxFileSystem::libraryDirectory() const {
  return madeDirectory(directories_.library);
}

std::string LinuxFileSystem::cachesDirectory() const { return madeDirectory(directories_.caches); }

std::string LinuxFileSystem::temporaryDirectory() const {
  return madeDirectory(directories_.temporary);
}

bool LinuxFileSystem::exists(const std::string& path) const {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

std::optional<Date> LinuxFileSystem::creationDate(const std::string& path) const {
  const auto found = attributes(path);
  if (!found) return std::nullopt;
  if ((found->stx_mask & STATX_BTIME) != 0) return toDate(found->stx_btime);
  if (S_ISDIR(found->stx_mode)) return firstSeenDate(path);
  return std::nullopt;
}

std::optional<Date> LinuxFileSystem::modificationDate(const std::string& path) const {
  const auto found = attributes(path);
  if (!found) return std::nullopt;
  return toDate(found->stx_mtime);
}

std::optional<Date> LinuxFileSystem::firstSeenDate(const std::string& directory) {
  const std::string marker = directory + kFirstSeenMarker;
  const FileDescriptor created(
      ::open(marker.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  const auto found = attributes(marker);
  if (!found) return std::nullopt;
  return toDate(found->stx_mtime);
}

std::optional<std::string> LinuxFileSystem::createDirectory(const std::string& path,
                                                            bool withParents) {
  if (withParents) return makeDirectories(path);
  if (::mkdir(path.c_str(), 0700) == 0) return std::nullopt;
  const int error = errno;
  const auto existing = attributes(path);
  if (error == EEXIST && existing && S_ISDIR(existing->stx_mode)) return std::nullopt;
  return std::strerror(error);
}

std::optional<std::vector<std::string>> LinuxFileSystem::list(const std::string& directory) const {
  struct stat status {};
  if (::lstat(directory.c_str(), &status) != 0) return std::nullopt;
  std::vector<std::string> names;
  if (emptyFolder_.isUnchanged(status)) return names;
  const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(descriptor), &::closedir);
  if (!stream) {
    ::close(descriptor);
    return std::nullopt;
  }
  bool isEmpty = true;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name(entry->d_name);
    if (name == "." || name == "..") continue;
    isEmpty = false;
    if (isTemporaryName(name)) {
      removeIfAbandoned(descriptor, entry->d_name);
    } else {
      names.emplace_back(name);
    }
  }
  if (errno != 0) return std::nullopt;
  if (isEmpty) emptyFolder_.wasSeen(status);
  return names;
}

std::optional<std::string> LinuxFileSystem::read(const std::string& path, std::size_t limit) const {
  // O_NONBLOCK: a FIFO would wait for a writer.
  const FileDescriptor file(
      ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  // Spares the reading of what is too large.
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > limit) return std::nullopt;
  std::string content;
  content.reserve(size);
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
    if (got == 0) return content;
    if (got < 0 && errno == EINTR) continue;
    // The size that fstat() told may be outdated, and is 0 in some file systems.
    if (got < 0 || static_cast<std::size_t>(got) > limit - content.size()) return std::nullopt;
    content.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

FileSystem::WriteResult LinuxFileSystem::writeNewFile(const std::string& path,
                                                      const std::string& content) {
  const int error = createFileDurably(path, content);
  if (error == 0) return {WriteOutcome::kWritten, {}};
  if (error == EEXIST) return {WriteOutcome::kNameTaken, {}};
  return {WriteOutcome::kFailed, std::strerror(error)};
}

std::optional<std::string> LinuxFileSystem::move(const std::string& from, const std::string& to) {
  // A link first: rename would replace what is there.
  if (::link(from.c_str(), to.c_str()) == 0) return remove(from);
  return std::strerror(errno);
}

std::optional<std::string> LinuxFileSystem::remove(const std::string& path) {
  if (::unlink(path.c_str()) == 0) return std::nullopt;
  return std::strerror(errno);
}

}  // namespace quarnel
