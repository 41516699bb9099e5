// The parts of building a report, and all of it on the simulated platform, against writing a JSON
// object of the same content with nothing around it.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <benchmark/benchmark.h>
#include <ifaddrs.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "BenchDirectory.h"
#include "platform/DeviceFacts.h"
#include "platform/NetworkInterfaces.h"
#include "platform/PlatformFactory.h"
#include "transport/QuarnelServerHandler.h"
#include "util/Json.h"

namespace quarnel {
namespace {

void configure(testing::SimulatedPlatform& platform) {
  platform.tracker().setQuarnelDevKey("dev-Key-1");
  platform.tracker().setAppleAppID("123456789");
}

Dictionary exampleReport() {
  testing::SimulatedPlatform platform;
  configure(platform);
  platform.tracker().trackEventWithValue("level", "12.50");
  platform.advance(std::chrono::seconds(1));
  return platform.reports("dev-Key-1").at(0);
}

void bareInterfaces(benchmark::State& state) {
  for (auto _ : state) {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) == 0) ::freeifaddrs(first);
  }
}
BENCHMARK(bareInterfaces)->Name("report/bareInterfaces");

void deviceFacts(benchmark::State& state) {
  const bench::Directory directory;
  HostEnvironment environment;
  environment.setStateDirectory(directory.path());
  environment.setKeychainFile(directory.path() + "/keychain.db");
  const auto platform = makePlatform(environment.options());
  for (auto _ : state) {
    benchmark::DoNotOptimize(platform->device().currentDevice());
    benchmark::DoNotOptimize(platform->device().mainBundle());
    benchmark::DoNotOptimize(platform->networkInterfaces().list());
  }
}
BENCHMARK(deviceFacts)->Name("report/deviceFacts");

void json(benchmark::State& state) {
  const Dictionary report = exampleReport();
  for (auto _ : state) benchmark::DoNotOptimize(writeJson(report));
}
BENCHMARK(json)->Name("report/json");

// Takes requests and forgets them.
class NoSession final : public HttpSession {
 public:
  void startDataTask(HttpRequest request, HttpCompletion completion) override {
    benchmark::DoNotOptimize(request);
    benchmark::DoNotOptimize(completion);
  }
};

void handOff(benchmark::State& state) {
  const DebugLog log([](std::string_view) {});
  NoSession session;
  QuarnelServerHandler handler(session, log, [](const RequestRecord&, RecordOrigin, bool) {});
  const auto record = std::make_shared<const QuarnelRequestCacheData>(
      "https://events.example/api/v4/iosevent?app_id=123456789", std::string(1500, 'b'), "1.0.0");
  for (auto _ : state) {
    handler.sendRequestEventToServer(record, false, "123456789", false, nullptr);
  }
}
BENCHMARK(handOff)->Name("report/handOff");

void bareJson(benchmark::State& state) {
  const Dictionary report = exampleReport();
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    for (const auto& [key, value] : report) {
      writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
      if (const auto* text = value.text()) {
        writer.String(text->data(), static_cast<rapidjson::SizeType>(text->size()));
      } else if (const auto* integer = value.integer()) {
        writer.Int64(*integer);
      } else {
        writer.Bool(value.boolean() != nullptr && *value.boolean());
      }
    }
    writer.EndObject();
    benchmark::DoNotOptimize(buffer.GetString());
  }
}
BENCHMARK(bareJson)->Name("report/bareJson");

void buildReport(benchmark::State& state) {
  testing::SimulatedPlatform platform;
  configure(platform);
  platform.setAnswer(testing::ScriptedAnswer::response(200));
  for (auto _ : state) {
    platform.tracker().trackEventWithValues("purchase", std::nullopt);
    platform.advance(std::chrono::nanoseconds(0));
  }
  const auto iterations = static_cast<std::size_t>(state.iterations());
  if (platform.requests().size() != iterations) state.SkipWithError("not all were built");
}
BENCHMARK(buildReport)->Name("report/buildAndEncode")->Iterations(20'000);

}  // namespace
}  // namespace quarnel
