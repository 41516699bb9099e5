#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <future>
#include <stdexcept>
#include <thread>

#include "Support.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"

namespace quarnel::test {
namespace {

using std::chrono::milliseconds;

class DispatcherTest : public testing::Test {
 protected:
  bool drained(milliseconds timeout = kPatience) { return pending_->waitUntilNone(timeout); }

  std::shared_ptr<PendingWork> pending_ = std::make_shared<PendingWork>();
  std::shared_ptr<RecordingLog> log_ = std::make_shared<RecordingLog>();
  LinuxDispatcher dispatcher_{nullptr, pending_, log_};
};

TEST_F(DispatcherTest, RunsTasksOneAtATimeInOrder) {
  constexpr int kTasks = 2000;
  const auto queue = dispatcher_.makeSerialQueue("q");
  for (SerialQueue* each : {queue.get(), &dispatcher_.mainQueue()}) {
    std::vector<int> order;
    std::atomic<int> running = 0;
    for (int i = 0; i < kTasks; ++i) {
      each->post([&, i] {
        EXPECT_EQ(++running, 1);
        order.push_back(i);
        --running;
      });
    }
    ASSERT_TRUE(drained());
    EXPECT_EQ(order.size(), std::size_t{kTasks});
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
  }
}

TEST_F(DispatcherTest, DelayedTasksRunInTheOrderInWhichTheyFallDue) {
  std::vector<int> order;
  // The queue itself is released before they do.
  auto queue = dispatcher_.makeSerialQueue("q");
  const auto start = std::chrono::steady_clock::now();
  queue->postAfter(milliseconds(60), [&] { order.push_back(2); });
  queue->postAfter(milliseconds(30), [&] { order.push_back(1); });
  queue->postAfter(milliseconds(-5), [&] { order.push_back(0); });
  for (int i = 3; i < 500; ++i) {
    queue->postAfter(milliseconds(60), [&order, i] { order.push_back(i); });
  }
  queue.reset();
  ASSERT_TRUE(drained());
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(60));
  EXPECT_EQ(order.size(), 500U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(DispatcherTest, ABlockedQueueHoldsUpNoOther) {
  std::promise<void> go;
  dispatcher_.makeSerialQueue("blocked")->post([ready = go.get_future().share()] { ready.wait(); });
  std::promise<void> ran;
  dispatcher_.makeSerialQueue("other")->post([&] { ran.set_value(); });
  EXPECT_EQ(ran.get_future().wait_for(kPatience), std::future_status::ready);
  EXPECT_FALSE(drained(milliseconds(0)));
  go.set_value();
  EXPECT_TRUE(drained());
}

TEST_F(DispatcherTest, DrainWaitsForWorkThatLeadsToOtherWork) {
  const auto queue = dispatcher_.makeSerialQueue("q");
  std::atomic<int> steps = 0;
  std::function<void()> step = [&] {
    if (++steps == 200) return;
    if (steps % 50 == 0) {
      queue->postAfter(milliseconds(5), step);
    } else {
      (steps % 2 == 0 ? *queue : dispatcher_.mainQueue()).post(step);
    }
  };
  queue->post(step);
  EXPECT_TRUE(drained());
  EXPECT_EQ(steps, 200);
  dispatcher_.makeUncountedQueue("u")->postAfter(std::chrono::hours(1), [] {});
  EXPECT_TRUE(drained(milliseconds(0)));
}

TEST_F(DispatcherTest, ExceptionsEndTheirTaskOnly) {
  const auto queue = dispatcher_.makeSerialQueue("q");
  queue->post([] { throw std::runtime_error("broken"); });
  queue->post([] { throw 5; });
  bool ran = false;
  queue->post([&] { ran = true; });
  EXPECT_TRUE(drained());
  EXPECT_TRUE(ran);
  EXPECT_EQ(log_->lines(), (std::vector<std::string>{"Quarnel: a task on queue q threw: broken",
                                                     "Quarnel: a task on queue q threw"}));
}

TEST_F(DispatcherTest, StoppingDropsWhatIsPending) {
  auto alive = std::make_shared<int>();
  const auto queue = dispatcher_.makeSerialQueue("q");
  // Tasks that own their own queue must not keep each other alive.
  queue->postAfter(std::chrono::hours(1), [alive, queue] {});
  dispatcher_.mainQueue().postAfter(std::chrono::hours(1), [alive, queue] {});
  dispatcher_.stop();
  EXPECT_EQ(alive.use_count(), 1);
  EXPECT_TRUE(drained(milliseconds(0)));
  queue->post([alive] {});
  queue->postAfter(milliseconds(1), [alive] {});
  EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(DispatcherTest, TheApplicationsExecutorIsTheMainQueue) {
  std::mutex mutex;
  std::deque<std::function<void()>> loop;
  Counter handedOver;
  bool broken = false;
  const auto executor = [&](std::function<void()> task) {
    if (broken) throw std::runtime_error("no loop");
    const std::lock_guard lock(mutex);
    loop.push_back(std::move(task));
    handedOver.add();
  };
  LinuxDispatcher dispatcher(executor, pending_, log_);
  std::vector<int> order;
  dispatcher.mainQueue().postAfter(milliseconds(20), [&] { order.push_back(2); });
  dispatcher.mainQueue().post([&] { order.push_back(1); });
  dispatcher.mainQueue().post([] { throw 5; });
  ASSERT_TRUE(handedOver.waitFor(3));
  EXPECT_FALSE(drained(milliseconds(0)));
  EXPECT_TRUE(order.empty());
  for (const auto& task : loop) task();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_TRUE(drained()) << "though the executor still holds the tasks";
  broken = true;
  dispatcher.mainQueue().post([] {});
  EXPECT_TRUE(drained());
  EXPECT_EQ(log_->lines().size(), 2U);
}

}  // namespace
}  // namespace quarnel::test
