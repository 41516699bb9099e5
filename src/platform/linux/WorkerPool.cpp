#include "platform/linux/WorkerPool.h"

#include "platform/linux/Threads.h"

namespace quarnel {

WorkerPool::WorkerPool(const std::string& threadName, int threadCount)
    : context_(threadCount), keepRunning_(context_.get_executor()) {
  for (int i = 0; i < threadCount; ++i) {
    threads_.push_back(startThread(threadName, [this] { context_.run(); }));
  }
}

WorkerPool::~WorkerPool() { stop(); }

void WorkerPool::stop() {
  if (stopped_.exchange(true)) return;
  context_.stop();
  for (std::thread& thread : threads_) thread.join();
  context_.dropHandlers();
}

}  // namespace quarnel
