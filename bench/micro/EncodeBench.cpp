// The body encoding alone, against copying the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "compose/BodyEncoder.h"

namespace quarnel {
namespace {

void copyBaseline(benchmark::State& state) {
  const std::string json(static_cast<std::size_t>(state.range(0)), 'j');
  std::string copy(json.size(), '\0');
  for (auto _ : state) {
    std::memcpy(copy.data(), json.data(), json.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(copyBaseline)->Name("encode/memcpy")->Arg(1500)->Arg(1 << 20);

void encode(benchmark::State& state) {
  const std::string json(static_cast<std::size_t>(state.range(0)), 'j');
  for (auto _ : state) benchmark::DoNotOptimize(encodeBody(json, "dev-Key-1"));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(encode)->Name("encode/body")->Arg(1500)->Arg(1 << 20);

}  // namespace
}  // namespace quarnel
