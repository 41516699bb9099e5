#pragma once

#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include "SimulatedDevice.h"
#include "SimulatedDispatcher.h"
#include "SimulatedNetwork.h"
#include "SimulatedStores.h"
#include "platform/Platform.h"

namespace quarnel::testing {

// All simulated ports together. Tests of single classes make it without a tracker.
class SimulatedPorts final : public Platform {
 public:
  explicit SimulatedPorts(const HostOptions& options = HostOptions())
      : services(options.services),
        simulatedNetwork(simulatedDispatcher),
        defaults(simulatedDispatcher),
        simulatedKeychain(simulatedDispatcher, options.services.keychainPrefix + ".sdk"),
        files(simulatedDispatcher),
        simulatedDevice(options),
        simulatedHostServices(options),
        log(simulatedDispatcher) {}

  Clock& clock() override { return simulatedDispatcher; }
  Dispatcher& dispatcher() override { return simulatedDispatcher; }
  Network& network() override { return simulatedNetwork; }
  UserDefaults& userDefaults() override { return defaults; }
  Keychain& keychain() override { return simulatedKeychain; }
  Device& device() override { return simulatedDevice; }
  FileSystem& fileSystem() override { return files; }
  NetworkInterfaces& networkInterfaces() override { return simulatedDevice; }
  HostServices& hostServices() override { return simulatedHostServices; }
  NotificationCenter& notificationCenter() override { return notifications; }
  LogSink& logSink() override { return log; }
  Random& random() override { return simulatedRandom; }
  void setDebugMode(bool enabled) override { isDebugMode = enabled; }
  CounterStore& counterStore() override { return counters; }
  bool drain(std::chrono::milliseconds timeout) override {
    simulatedDispatcher.advance(timeout);
    return simulatedDispatcher.isIdle();
  }

  const ServiceConfiguration services;
  SimulatedDispatcher simulatedDispatcher;
  SimulatedNetwork simulatedNetwork;
  SimulatedUserDefaults defaults;
  SimulatedKeychain simulatedKeychain;
  SimulatedCounters counters;
  SimulatedFileSystem files;
  SimulatedDevice simulatedDevice;
  SimulatedHostServices simulatedHostServices;
  SimulatedNotificationCenter notifications;
  SimulatedLog log;
  SimulatedRandom simulatedRandom;
  bool isDebugMode = false;
};

// The ports of a simulated platform, for what its public face does not show.
inline SimulatedPorts& portsOf(SimulatedPlatform& platform) {
  return static_cast<SimulatedPorts&>(platform.platform());
}

}  // namespace quarnel::testing
