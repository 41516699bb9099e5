#include "platform/linux/process/ForkedChild.h"

#include <pthread.h>

#include <atomic>

#include "platform/PlatformFactory.h"

namespace quarnel {
namespace {

std::atomic<bool> isChild = false;

}  // namespace

void watchForForks() {
  static const int registered = ::pthread_atfork(nullptr, nullptr, [] { isChild = true; });
  static_cast<void>(registered);
}

bool isForkedChild() { return isChild.load(std::memory_order_relaxed); }

}  // namespace quarnel
