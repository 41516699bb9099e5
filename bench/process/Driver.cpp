// An application that does nothing but use the library, so that its figures are the library's:
//   bench-driver MODE STATE HOST:PORT CA COUNT [EXEC-TIME]
// It prints a figure a line, and ends without waiting for what is still under way.
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>

#include "process/Calls.h"
#include "process/ProcessFigures.h"

namespace quarnel::bench {
namespace {

constexpr std::chrono::minutes kPatience{2};
constexpr std::chrono::milliseconds kPause{2};
constexpr std::chrono::milliseconds kSampling{5};
// How often in succession the sampled memory has to be the same to be at its peak.
constexpr int kStableSamples = 200;

struct Arguments {
  std::string mode;
  std::string state;
  std::string host;
  std::string authority;
  int count = 0;
  double execTime = 0;
};

QuarnelTracker& startTracker(const Arguments& arguments) {
  HostEnvironment environment;
  environment.setStateDirectory(arguments.state);
  environment.setKeychainFile(arguments.state + "/keychain.db");
  environment.setBundleIdentifier("com.example.bench");
  environment.setBundle("1", "Bench", "1.0");
  environment.setCertificateAuthorityFile(arguments.authority);
  for (const auto endpoint : {Endpoint::kLaunch, Endpoint::kEvents, Endpoint::kStats,
                              Endpoint::kConversion, Endpoint::kServices, Endpoint::kRegister}) {
    environment.setEndpointHost(endpoint, arguments.host);
  }
  QuarnelTracker::configureSharedTracker(environment);
  return QuarnelTracker::sharedTracker();
}

void drain(QuarnelTracker& tracker) {
  if (!tracker.drain(kPatience)) throw std::runtime_error("reports are left over");
}

void start(const Arguments& arguments, double mainEntered) {
  startTracker(arguments);
  const double started = wallSeconds();
  print("exec-to-main", mainEntered - arguments.execTime);
  print("main-to-started", started - mainEntered);
  // What is put off to other threads belongs to the start as well.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  print("resident-kb", static_cast<double>(residentKilobytes()));
  print("private-dirty-kb", static_cast<double>(privateDirtyKilobytes()));
}

void deliver(QuarnelTracker& tracker, int count) {
  const double began = wallSeconds();
  const double processorBefore = processorSeconds();
  for (int i = 0; i < count; ++i) reportEvent(tracker);
  drain(tracker);
  print("seconds", wallSeconds() - began);
  print("processor-seconds", processorSeconds() - processorBefore);
  // What arrived twice must not make up for what is missing.
  const Diagnostics numbers = tracker.diagnostics();
  const std::uint64_t delivered = numbers.delivered + numbers.replayed;
  if (delivered != static_cast<std::uint64_t>(count)) throw std::runtime_error("reports are lost");
}

// The most memory that `count` events need. Against a server that never answers nothing ever
// drains: there the peak is where the memory has stopped to grow.
void measureMemory(QuarnelTracker& tracker, int count) {
  for (int i = 0; i < count; ++i) reportEvent(tracker);
  long peak = 0;
  int stable = 0;
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!tracker.drain(kSampling) && stable < kStableSamples) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("reports are left over");
    const long dirty = privateDirtyKilobytes();
    stable = dirty > peak ? 0 : stable + 1;
    peak = std::max(peak, dirty);
  }
  print("resident-kb", static_cast<double>(peakResidentKilobytes()));
  print("private-dirty-kb", static_cast<double>(std::max(peak, privateDirtyKilobytes())));
}

void run(const Arguments& arguments, double mainEntered) {
  if (arguments.mode == "start") {
    start(arguments, mainEntered);
    return;
  }
  QuarnelTracker& tracker = startTracker(arguments);
  tracker.setQuarnelDevKey("bench-key");
  tracker.setAppleAppID("123456789");
  if (arguments.mode == "idle-calls") {
    timeCalls(tracker, arguments.count, kPause);
  } else if (arguments.mode == "busy-calls") {
    timeCalls(tracker, arguments.count, std::chrono::microseconds(0));
    drain(tracker);
  } else if (arguments.mode == "counted-calls") {
    makeCountedCalls(tracker, arguments.count);
  } else if (arguments.mode == "deliver") {
    deliver(tracker, arguments.count);
  } else if (arguments.mode == "memory") {
    measureMemory(tracker, arguments.count);
  } else {
    throw std::runtime_error("unknown mode " + arguments.mode);
  }
}

}  // namespace
}  // namespace quarnel::bench

int main(int argumentCount, char** arguments) {
  const double mainEntered = quarnel::bench::wallSeconds();
  try {
    if (argumentCount < 6) throw std::runtime_error("MODE STATE HOST:PORT CA COUNT [EXEC-TIME]");
    quarnel::bench::run({.mode = arguments[1],
                         .state = arguments[2],
                         .host = arguments[3],
                         .authority = arguments[4],
                         .count = std::stoi(arguments[5]),
                         .execTime = argumentCount > 6 ? std::stod(arguments[6]) : 0},
                        mainEntered);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench-driver: %s\n", error.what());
    return EXIT_FAILURE;
  }
  std::fflush(stdout);
  ::_exit(EXIT_SUCCESS);
}
