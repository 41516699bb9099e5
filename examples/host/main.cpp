// An application that embeds the library and does what a script on standard input tells it. The
// three steps of every integration stand in runApplication(): hand in what only the application
// knows, configure the tracker, report.
#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "AdServices.h"
#include "BadInput.h"
#include "Commands.h"
#include "MainLoop.h"
#include "Options.h"

namespace {

constexpr int kUsageError = 2;

void readLines(host::MainLoop& mainLoop) {
  for (std::string line; std::getline(std::cin, line);) mainLoop.offerLine(std::move(line));
  mainLoop.endInput();
}

int runApplication(host::Options options) {
  std::ios::sync_with_stdio(false);  // Reads long lines ten times as fast.

  // The library may call these until the process ends, so nothing destroys them.
  static auto& mainLoop = *new host::MainLoop;
  static auto& adServices = *new host::AdServices;

  quarnel::HostEnvironment& environment = options.environment;
  environment.setMainExecutor([](auto task) { mainLoop.post(std::move(task)); });
  environment.setAdvertisingIdentifierProvider([] { return adServices.identity(); });
  environment.setAdClientProvider([] { return adServices.client(); });
  quarnel::QuarnelTracker::configureSharedTracker(environment);

  auto& tracker = quarnel::QuarnelTracker::sharedTracker();
  if (options.isDebug) tracker.setIsDebug(true);
  tracker.setQuarnelDevKey(options.developerKey);
  tracker.setAppleAppID(options.appID);

  static auto& commands = *new host::Commands(tracker, adServices, mainLoop);
  std::thread(readLines, std::ref(mainLoop)).detach();
  while (const auto line = mainLoop.nextLine()) commands.run(*line);
  commands.drain();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount == 2 && std::string_view(arguments[1]) == "--help") {
    std::printf("%s\nThe operations, _ for an argument, null for an absent one:\n%s", host::kUsage,
                host::Commands::help().c_str());
    return EXIT_SUCCESS;
  }
  try {
    return runApplication(host::readOptions(argumentCount, arguments));
  } catch (const host::BadInput& reason) {
    std::fprintf(stderr, "quarnel-host: %s\n%s", reason.what(), host::kUsage);
    return kUsageError;
  } catch (const std::system_error& error) {
    std::fprintf(stderr, "quarnel-host: the system has no thread to give: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
