#include "platform/apple/PosixFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <system_error>

namespace quarnel::files {
namespace {

constexpr std::string_view kTemporaryPrefix = ".writing-";
constexpr std::chrono::hours kLongestWriting{1};

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int get() const { return number_; }
  bool valid() const { return number_ >= 0; }

 private:
  const int number_;
};

int writeAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(file, content.data(), content.size());
    if (written > 0) {
      content.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0 || errno != EINTR) {
      return written == 0 ? EIO : errno;
    }
  }
  return 0;
}

int flush(int file) {
  int result = 0;
  do {
    result = ::fsync(file);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

// Makes the directory's entries durable. Not every file system can; those have their own ways.
void flushDirectory(const std::string& directory) {
  const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.valid()) flush(opened.get());
}

// Removes a temporary file once it is so old that nobody can still be writing it.
void removeIfAbandoned(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return;
  const auto written = std::chrono::system_clock::from_time_t(status.st_mtime);
  if (std::chrono::system_clock::now() - written > kLongestWriting) ::unlink(path.c_str());
}

}  // namespace

bool exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::optional<std::vector<std::string>> list(const std::string& directory) {
  if (!isDirectory(directory)) return std::nullopt;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(directory.c_str()), &::closedir);
  if (!stream) return std::nullopt;
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string name(entry->d_name);
    if (name == "." || name == "..") continue;
    if (name.starts_with(kTemporaryPrefix)) {
      removeIfAbandoned(directory + "/" + name);
    } else {
      names.push_back(name);
    }
  }
  if (errno != 0) return std::nullopt;
  return names;
}

std::optional<std::string> read(const std::string& path, std::size_t limit) {
  // O_NONBLOCK: a FIFO would wait for a writer.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file.valid() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
      static_cast<std::size_t>(status.st_size) > limit) {
    return std::nullopt;
  }
  std::string content;
  std::array<char, 16384> buffer;
  for (;;) {
    const ssize_t got = ::read(file.get(), buffer.data(), buffer.size());
    if (got == 0) return content;
    if (got < 0 && errno == EINTR) continue;
    // The file may have grown since.
    if (got < 0 || static_cast<std::size_t>(got) > limit - content.size()) return std::nullopt;
    content.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

int create(const std::string& path, std::string_view content) {
  static std::atomic<unsigned> number = 0;
  const std::string directory = parentOf(path);
  const std::string temporary = directory + "/" + std::string(kTemporaryPrefix) +
                                std::to_string(::getpid()) + "-" + std::to_string(++number);
  int error = 0;
  {
    const Descriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.valid()) return errno;
    error = writeAll(file.get(), content);
    if (error == 0) error = flush(file.get());
  }
  // Unlike rename(), a link never replaces what is there.
  if (error == 0 && ::link(temporary.c_str(), path.c_str()) != 0) error = errno;
  ::unlink(temporary.c_str());
  if (error == 0) flushDirectory(directory);
  return error;
}

int move(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) != 0) return errno;
  if (::unlink(from.c_str()) != 0) return errno;
  flushDirectory(parentOf(to));
  return 0;
}

std::string reason(int error) { return std::generic_category().message(error); }

}  // namespace quarnel::files
