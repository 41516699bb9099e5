// libuv. Several uv_async_send() may wake the loop once, so the tasks wait in a queue beside it.
#include <uv.h>

#include <mutex>
#include <utility>
#include <vector>

#include "MainLoop.h"

namespace loop {
namespace {

std::mutex mutex;
std::vector<std::function<void()>> tasks;

void runTasks(uv_async_t*) {
  std::vector<std::function<void()>> arrived;
  {
    const std::lock_guard lock(mutex);
    arrived.swap(tasks);
  }
  for (const auto& task : arrived) task();
}

uv_async_t* waker() {
  static uv_async_t* const made = [] {
    auto* handle = new uv_async_t;
    uv_async_init(uv_default_loop(), handle, runTasks);
    return handle;
  }();
  return made;
}

// While the program starts, as uv_async_init() belongs on the loop's thread.
[[maybe_unused]] uv_async_t* const kWaker = waker();

}  // namespace

void post(std::function<void()> task) {
  {
    const std::lock_guard lock(mutex);
    tasks.push_back(std::move(task));
  }
  uv_async_send(waker());
}

void run() { uv_run(uv_default_loop(), UV_RUN_DEFAULT); }

void quit() { uv_stop(uv_default_loop()); }

}  // namespace loop
