// An application with a main loop: the tracker's main queue is that loop, so the delegate is called
// where the interface lives. Ends with 0 when that was so, for the project's tests.
//
// usage: quarnel-loop-example STATE_DIRECTORY HOST:PORT
#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "MainLoop.h"

using quarnel::Endpoint;

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  quarnel::HostEnvironment environment;
  environment.setBundleIdentifier("com.example.cinema");
  environment.setStateDirectory(argv[1]);
  environment.setKeychainFile(std::string(argv[1]) + "/keychain.db");
  for (const Endpoint endpoint :
       {Endpoint::kLaunch, Endpoint::kEvents, Endpoint::kStats, Endpoint::kConversion,
        Endpoint::kServices, Endpoint::kRegister}) {
    environment.setEndpointHost(endpoint, argv[2]);
  }
  environment.setMainExecutor(loop::post);
  quarnel::QuarnelTracker::configureSharedTracker(environment);

  const auto mainThread = std::this_thread::get_id();
  bool cameToTheLoop = false;
  static quarnel::QuarnelTrackerDelegate delegate;
  delegate.onAppOpenAttribution = [&](const quarnel::Dictionary& link) {
    cameToTheLoop = std::this_thread::get_id() == mainThread;
    const std::string* film = link.text("film");
    std::printf("opened from a link to film %s\n", film != nullptr ? film->c_str() : "?");
  };
  auto& tracker = quarnel::QuarnelTracker::sharedTracker();
  tracker.setQuarnelDevKey("my-key");
  tracker.setAppleAppID("123456789");
  tracker.setDelegate(&delegate);
  tracker.handleOpenURL("cinema://film?film=7&qn_deeplink=spring", std::nullopt);
  tracker.trackAppLaunch();

  // drain() waits for tasks of the loop too, so another thread calls it while the loop runs.
  std::thread ending([&tracker] {
    tracker.drain(std::chrono::seconds(10));
    loop::post(loop::quit);
  });
  loop::run();
  ending.join();
  tracker.setDelegate(nullptr);
  return cameToTheLoop ? 0 : 1;
}
