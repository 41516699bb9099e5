// The tracker on the real platform, where the simulated one would stand still.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Support.h"
#include "platform/Dispatcher.h"
#include "platform/PlatformFactory.h"

namespace quarnel::test {
namespace {

TEST(TrackerTest, StartConnectionWaitsForTheEndButNotForEver) {
  const TemporaryDirectory directory;
  HostEnvironment environment;
  environment.setStateDirectory(directory.path());
  environment.setKeychainFile(directory / "keychain.db");
  environment.setLogSink([](std::string_view) {});
  const auto platform = makePlatform(environment.options());
  QuarnelTracker tracker(*platform, environment.options().services);

  std::function<void()> kept;
  const auto start = std::chrono::steady_clock::now();
  tracker.startConnection([&kept](std::function<void()> ended) { kept = std::move(ended); });
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  kept();  // Late, and harmless.

  const auto queue = platform->dispatcher().makeSerialQueue("test");
  bool hasEnded = false;
  tracker.startConnection([&](const std::function<void()>& ended) {
    queue->postAfter(std::chrono::milliseconds(20), [&hasEnded, ended] {
      hasEnded = true;
      ended();
      ended();
    });
  });
  EXPECT_TRUE(hasEnded);
  EXPECT_TRUE(tracker.drain(kPatience));
}

}  // namespace
}  // namespace quarnel::test
