// Building and encoding a report on the simulated platform, against writing a JSON object of the
// same content with nothing around it.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <benchmark/benchmark.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace quarnel {
namespace {

void configure(testing::SimulatedPlatform& platform) {
  platform.tracker().setQuarnelDevKey("dev-Key-1");
  platform.tracker().setAppleAppID("123456789");
}

void bareJson(benchmark::State& state) {
  testing::SimulatedPlatform platform;
  configure(platform);
  platform.tracker().trackEventWithValue("level", "12.50");
  platform.advance(std::chrono::seconds(1));
  const Dictionary report = platform.reports("dev-Key-1").at(0);
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
  platform.setAnswer(testing::ScriptedAnswer::silence());
  for (auto _ : state) {
    platform.tracker().trackEventWithValues("purchase", std::nullopt);
    platform.advance(std::chrono::nanoseconds(0));
  }
}
BENCHMARK(buildReport)->Name("report/buildAndEncode")->Iterations(20'000);

}  // namespace
}  // namespace quarnel
