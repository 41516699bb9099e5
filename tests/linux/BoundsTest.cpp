// Bounds and counts with real threads, sockets and files.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>

#include "Support.h"
#include "TlsServer.h"
#include "platform/Platform.h"
#include "platform/PlatformFactory.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/store/CounterFile.h"
#include "platform/linux/store/FileDescriptor.h"
#include "util/Limits.h"

namespace quarnel::test {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kEvents = 50'000;  // They make everything slower, and memory larger.
constexpr std::size_t kMemory = std::size_t{1} << 30;
#else
constexpr int kEvents = 1'000'000;
constexpr std::size_t kMemory = std::size_t{64} << 20;
#endif

std::size_t residentMemory() {
  std::ifstream statm("/proc/self/statm");
  std::size_t size = 0;
  std::size_t resident = 0;
  statm >> size >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST(BoundsTest, AMillionEventsForAServerThatNeverAnswers) {
  static const TemporaryDirectory directory;
  const Certificate authority("Authority", nullptr);
  const Certificate certificate("localhost", &authority);
  auto server = std::make_unique<TlsServer>(
      certificate, [](Connection& connection) { connection.waitForEnd(); });
  HostEnvironment environment;
  environment.setStateDirectory(directory.path());
  environment.setKeychainFile(directory / "keychain.db");
  environment.setEndpointHost(Endpoint::kEvents, "localhost:" + std::to_string(server->port()));
  environment.setLogSink([](std::string_view) {});
  // Never destroyed, like an application's: the notifications of the process go to it for ever.
  static Platform& platform = *makePlatform(environment.options()).release();
  static auto& tracker = *new QuarnelTracker(platform, environment.options().services);
  tracker.setQuarnelDevKey("key");

  const std::size_t before = residentMemory();
  std::size_t most = before;
  for (int i = 0; i < kEvents; ++i) {
    tracker.trackEventWithValues("purchase", Dictionary{{"qn_revenue", 9.99}, {"title", "Season"}});
    if (i % 1000 == 0) most = std::max(most, residentMemory());
  }
  const Diagnostics busy = tracker.diagnostics();
  EXPECT_LT(most - before, kMemory);
  EXPECT_EQ(busy.accepted + busy.lost.tooManyWaiting, std::uint64_t{kEvents});
  EXPECT_GT(busy.lost.tooManyWaiting, 0U);
  EXPECT_LE(busy.waiting, limits::kMostWaiting);
  EXPECT_LE(busy.inFlight, limits::kMostInFlight);
  EXPECT_EQ(busy.delivered, 0U);
  EXPECT_FALSE(tracker.drain(std::chrono::milliseconds(1)));

  // Once the server has gone nothing waits for it any longer, and every report has its end.
  server.reset();
  ASSERT_TRUE(tracker.drain(std::chrono::minutes(2)));
  const Diagnostics numbers = tracker.diagnostics();
  EXPECT_EQ(numbers.waiting + numbers.inFlight + numbers.delivered, 0U);
  EXPECT_EQ(numbers.failed, numbers.accepted);
  EXPECT_EQ(numbers.failed, numbers.cached + numbers.lost.cacheFull);
}

class CounterFileTest : public ::testing::Test {
 protected:
  std::shared_ptr<CounterFile> open() {
    return CounterFile::make(directory_ / "Library/counters",
                             dispatcher_.makeUncountedQueue("counters"), log_);
  }

  TemporaryDirectory directory_;
  std::shared_ptr<RecordingLog> log_ = std::make_shared<RecordingLog>();
  LinuxDispatcher dispatcher_{nullptr, std::make_shared<PendingWork>(), log_};
};

TEST_F(CounterFileTest, ProcessesAddUpAndAKilledOneCostsNothingThatWasSaved) {
  const auto first = open();
  const auto second = open();
  first->increment(0);
  first->increment(15);
  first->save();
  second->increment(0);
  EXPECT_EQ(second->totals()[0], 2U);
  second->saveSoon();
  // Another process sees it without being told.
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (open()->totals()[0] != 2 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  first->increment(0);
  first->save();
  EXPECT_EQ(open()->totals()[0], 3U);
  EXPECT_EQ(open()->totals()[15], 1U);
  EXPECT_EQ(log_->lines(), std::vector<std::string>());
}

TEST_F(CounterFileTest, DamageStartsAtZeroAndIsMended) {
  for (const char* content : {"", "nonsense"}) {
    const auto counters = open();
    counters->increment(1);
    counters->save();
    std::ofstream(directory_ / "Library/counters", std::ios::trunc) << content;
    counters->increment(1);
    counters->save();
    EXPECT_EQ(open()->totals()[1], 1U) << content;
    std::filesystem::remove(directory_ / "Library/counters");
  }
  EXPECT_FALSE(log_->lines().empty());
}

TEST_F(CounterFileTest, WhatCannotBeSavedIsKeptInMemory) {
  std::filesystem::create_directories(directory_ / "Library/counters");
  const auto counters = open();
  counters->increment(2);
  counters->save();
  EXPECT_EQ(counters->totals()[2], 1U);
  std::filesystem::remove(directory_ / "Library/counters");
  counters->save();
  EXPECT_EQ(open()->totals()[2], 1U);
}

TEST_F(CounterFileTest, ALockThatSomebodyKeepsHoldsNobodyUp) {
  const std::string path = directory_ / "Library/counters";
  open()->totals();  // Makes the file.
  const FileDescriptor held(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
  const auto counters = open();
  counters->increment(3);
  counters->save();  // Without a limit this and the next line would never return.
  EXPECT_EQ(counters->totals()[3], 1U);
  ASSERT_EQ(::flock(held.get(), LOCK_UN), 0);
  counters->save();
  EXPECT_EQ(open()->totals()[3], 1U);
}

}  // namespace
}  // namespace quarnel::test
