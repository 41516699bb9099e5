// An application of somebody else's: reports a launch to the collector given.
#include <QuarnelTvOsLib/QuarnelTracker.h>

#ifdef USES_TESTING
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#endif

#include <chrono>
#include <string>

#ifdef USES_TITLES
std::string quoted(std::string title);
#endif

int main(int argc, char** argv) {
  if (argc != 4) return 2;
#ifdef USES_TESTING
  {
    quarnel::testing::SimulatedPlatform platform;
    platform.tracker().setQuarnelDevKey("key");
    platform.tracker().trackAppLaunch();
    platform.advance(std::chrono::seconds(1));
    if (platform.requests().size() != 1) return 3;
  }
#endif
  quarnel::HostEnvironment environment;
  environment.setBundleIdentifier("com.example.consumer");
  environment.setStateDirectory(argv[1]);
  environment.setKeychainFile(std::string(argv[1]) + "/keychain.db");
  using quarnel::Endpoint;
  for (const Endpoint endpoint :
       {Endpoint::kLaunch, Endpoint::kEvents, Endpoint::kStats, Endpoint::kConversion,
        Endpoint::kServices, Endpoint::kRegister}) {
    environment.setEndpointHost(endpoint, argv[2]);
  }
  environment.setCertificateAuthorityFile(argv[3]);
  quarnel::QuarnelTracker::configureSharedTracker(environment);
  auto& tracker = quarnel::QuarnelTracker::sharedTracker();
  tracker.setQuarnelDevKey("consumer-key");
  tracker.setAppleAppID("123456789");
#ifdef USES_TITLES
  tracker.setCustomerUserID(quoted("viewer"));
#endif
  tracker.trackAppLaunch();
  const bool drained = tracker.drain(std::chrono::seconds(20));
  return drained && tracker.diagnostics().delivered == 1 ? 0 : 1;
}
