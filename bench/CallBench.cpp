// What a call costs on the application's thread, against handing a bare task to the same queues.
// Reports are dropped for want of a developer key, so that the measured thread has a core.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <benchmark/benchmark.h>

#include "BenchDirectory.h"
#include "platform/Dispatcher.h"
#include "platform/PlatformFactory.h"

namespace quarnel {
namespace {

// Few enough that what is queued stays small.
constexpr int kCalls = 20'000;

struct Fixture {
  bench::Directory directory;
  HostEnvironment environment;
  std::unique_ptr<Platform> platform;
  std::unique_ptr<QuarnelTracker> tracker;

  Fixture() {
    environment.setStateDirectory(directory.path());
    environment.setKeychainFile(directory.path() + "/keychain.db");
    environment.setLogSink([](std::string_view) {});
    platform = makePlatform(environment.options());
    tracker = std::make_unique<QuarnelTracker>(*platform, environment.options().services);
  }
  ~Fixture() { tracker->drain(std::chrono::minutes(1)); }
};

Dictionary fiveProperties() {
  return {
      {"qn_revenue", 9.99}, {"title", "Season 2"}, {"episode", 7}, {"hd", true}, {"from", "home"}};
}

void bareTask(benchmark::State& state) {
  Fixture fixture;
  const auto queue = fixture.platform->dispatcher().makeSerialQueue("bench");
  for (auto _ : state) queue->post([] {});
}
BENCHMARK(bareTask)->Name("call/bareTask")->Iterations(kCalls)->Repetitions(5);

void buildProperties(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fiveProperties());
}
BENCHMARK(buildProperties)
    ->Name("call/buildFivePropertiesAlone")
    ->Iterations(kCalls)
    ->Repetitions(5);

void eventWithValues(benchmark::State& state) {
  Fixture fixture;
  for (auto _ : state) fixture.tracker->trackEventWithValues("purchase", fiveProperties());
}
BENCHMARK(eventWithValues)->Name("call/trackEventWithValues")->Iterations(kCalls)->Repetitions(5);

void eventWithValue(benchmark::State& state) {
  Fixture fixture;
  for (auto _ : state) fixture.tracker->trackEventWithValue("level", "12.50");
}
BENCHMARK(eventWithValue)->Name("call/trackEventWithValue")->Iterations(kCalls)->Repetitions(5);

}  // namespace
}  // namespace quarnel
