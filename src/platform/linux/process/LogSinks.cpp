#include "platform/linux/process/LogSinks.h"

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace quarnel {
namespace {

// Keeps a write to a closed pipe from raising SIGPIPE in the host application, whose handling of
// that signal is not ours to change: the signal is blocked in this thread, and taken back if this
// write was what raised it.
class PipeSignalGuard {
 public:
  PipeSignalGuard() {
    ::sigemptyset(&pipe_);
    ::sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
  }
  PipeSignalGuard(const PipeSignalGuard&) = delete;
  PipeSignalGuard& operator=(const PipeSignalGuard&) = delete;
  ~PipeSignalGuard() {
    if (!wasPending_) {
      const timespec none{};
      while (::sigtimedwait(&pipe_, nullptr, &none) < 0 && errno == EINTR) {
      }
    }
    ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t previous_{};
  bool wasPending_ = false;
};

constexpr int kFullPipePatienceMilliseconds = 1000;

bool waitUntilWritable(int descriptor) {
  pollfd wanted{descriptor, POLLOUT, 0};
  int ready = 0;
  do {
    ready = ::poll(&wanted, 1, kFullPipePatienceMilliseconds);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

}  // namespace

void DescriptorLogSink::write(std::string_view line) {
  std::string text;
  text.reserve(line.size() + 1);
  text.append(line).push_back('\n');
  const int savedErrno = errno;
  {
    const std::lock_guard lock(mutex_);
    const PipeSignalGuard guard;
    writeAll(text);
  }
  errno = savedErrno;
}

void DescriptorLogSink::writeAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor_, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      if (!waitUntilWritable(descriptor_)) return;
    } else if (errno != EINTR) {
      return;
    }
  }
}

void HostLogSink::write(std::string_view line) {
  try {
    sink_(line);
  } catch (...) {
    // There is nowhere left to tell of a log sink that fails.
  }
}

}  // namespace quarnel
