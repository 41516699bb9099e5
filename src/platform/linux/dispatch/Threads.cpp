#include "platform/linux/dispatch/Threads.h"

#include <pthread.h>
#include <sched.h>

#include <csignal>

namespace quarnel {
namespace {

constexpr std::size_t kLongestThreadName = 15;

// Blocks all signals in the calling thread; a thread started meanwhile inherits that.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous_);
  }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;
  ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }

 private:
  sigset_t previous_{};
};

}  // namespace

std::thread startThread(const std::string& name, std::function<void()> body) {
  const AllSignalsBlocked blocked;
  std::thread thread(std::move(body));
  const sched_param ordinary{};
  ::pthread_setschedparam(thread.native_handle(), SCHED_BATCH, &ordinary);
  ::pthread_setname_np(thread.native_handle(), name.substr(0, kLongestThreadName).c_str());
  return thread;
}

}  // namespace quarnel
