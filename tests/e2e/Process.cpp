#include "Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace e2e {
namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// Two connected ends that no other child inherits. Sockets, as writing to one whose reader has
// ended can be told not to raise a signal.
std::array<int, 2> makeStream() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) fail("socketpair");
  return ends;
}

// In the child, between fork and exec: only calls that are safe there.
[[noreturn]] void become(char* const* arguments, int input, int output, int errors) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // Nothing outlives a test that is killed.
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  execv(arguments[0], arguments);
  _exit(127);
}

}  // namespace

LineReader::LineReader(int descriptor) : descriptor_(descriptor), thread_([this] { read(); }) {}

LineReader::~LineReader() {
  shutdown(descriptor_, SHUT_RD);
  thread_.join();
  close(descriptor_);
}

void LineReader::read() {
  std::string line;
  std::array<char, 1 << 16> chunk{};
  for (ssize_t size = 0; (size = ::read(descriptor_, chunk.data(), chunk.size())) > 0;) {
    const std::lock_guard lock(mutex_);
    std::string_view rest(chunk.data(), static_cast<std::size_t>(size));
    for (std::size_t end = 0; (end = rest.find('\n')) != std::string_view::npos;) {
      lines_.push_back(line.append(rest.substr(0, end)));
      line.clear();
      rest.remove_prefix(end + 1);
    }
    line.append(rest);
    changed_.notify_all();
  }
  const std::lock_guard lock(mutex_);
  if (!line.empty()) lines_.push_back(line);
  ended_ = true;
  changed_.notify_all();
}

bool LineReader::waitForMore(std::unique_lock<std::mutex>& lock, std::size_t count,
                             Clock::time_point deadline) {
  changed_.wait_until(lock, deadline, [&] { return lines_.size() > count || ended_; });
  return lines_.size() > count;
}

std::optional<std::string> LineReader::next(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  if (!waitForMore(lock, taken_, deadline)) return std::nullopt;
  return lines_[taken_++];
}

bool LineReader::waitFor(const std::function<bool(const std::string&)>& condition,
                         Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  for (std::size_t at = 0; waitForMore(lock, at, deadline); ++at) {
    if (condition(lines_[at])) return true;
  }
  return false;
}

void LineReader::waitForEnd(Clock::time_point deadline) {
  std::unique_lock lock(mutex_);
  changed_.wait_until(lock, deadline, [this] { return ended_; });
}

std::vector<std::string> LineReader::all() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

Process::Process(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);

  const auto input = makeStream();
  const auto output = makeStream();
  const auto errors = makeStream();
  pid_ = fork();
  if (pid_ < 0) fail("fork");
  if (pid_ == 0) become(pointers.data(), input[1], output[1], errors[1]);
  for (const int childEnd : {input[1], output[1], errors[1]}) close(childEnd);
  input_ = input[0];
  output_.emplace(output[0]);
  errors_.emplace(errors[0]);
}

Process::~Process() {
  signal(SIGKILL);
  wait();
  closeInput();
}

void Process::writeLine(const std::string& line) {
  const std::string text = line + '\n';
  for (std::size_t written = 0; written < text.size();) {
    const ssize_t size = send(input_, text.data() + written, text.size() - written, MSG_NOSIGNAL);
    if (size < 0) return;
    written += static_cast<std::size_t>(size);
  }
}

void Process::closeInput() {
  if (input_ >= 0) close(std::exchange(input_, -1));
}

void Process::signal(int number) {
  if (!status_) ::kill(pid_, number);
}

std::optional<int> Process::wait(std::chrono::milliseconds timeout) {
  if (status_) return status_;
  // A descriptor of the process becomes readable when it ends, so nothing needs to be polled.
  pollfd ended{
      .fd = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)), .events = POLLIN, .revents = 0};
  if (ended.fd < 0) fail("pidfd_open");
  const int ready = poll(&ended, 1, static_cast<int>(timeout.count()));
  close(ended.fd);
  int status = 0;
  if (ready != 1 || waitpid(pid_, &status, 0) != pid_) return std::nullopt;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  const auto deadline = Clock::now() + kPatience;
  output_->waitForEnd(deadline);
  errors_->waitForEnd(deadline);
  return status_;
}

}  // namespace e2e
