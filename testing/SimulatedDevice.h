#pragma once

#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "SimulatedDispatcher.h"
#include "platform/DeviceFacts.h"
#include "platform/HostOptions.h"
#include "platform/HostServices.h"
#include "platform/LogSink.h"
#include "platform/NetworkInterfaces.h"
#include "platform/NotificationCenter.h"
#include "platform/Random.h"

namespace quarnel::testing {

// A television box, with what the host environment says of it and of the application.
class SimulatedDevice : public Device, public NetworkInterfaces {
 public:
  explicit SimulatedDevice(const HostOptions& options);
  DeviceFacts currentDevice() const override { return facts; }
  bool isMultitaskingSupported() const override { return facts.isMultitaskingSupported; }
  std::optional<std::string> systemVersion() const override { return facts.systemVersion; }
  BundleFacts mainBundle() const override { return bundle; }
  std::optional<std::vector<NetworkInterface>> list() const override { return interfaces; }

  // With or without the interface of a wireless network, beside the loopback interface.
  void setWifi(bool hasWifi);

  DeviceFacts facts;
  BundleFacts bundle;
  std::optional<std::vector<NetworkInterface>> interfaces;
};

// What the host environment provides.
class SimulatedHostServices : public HostServices {
 public:
  explicit SimulatedHostServices(HostOptions options) : options_(std::move(options)) {}
  std::optional<AdvertisingIdentity> advertisingIdentity() const override;
  std::shared_ptr<AdClient> sharedAdClient() const override;
  bool classExists(std::string_view name) const override;
  bool hasCloudIdentity() const override;

 private:
  const HostOptions options_;
};

class SimulatedLog : public LogSink {
 public:
  explicit SimulatedLog(SimulatedDispatcher& dispatcher) : dispatcher_(dispatcher) {}
  void write(std::string_view line) override;
  std::vector<RecordedLine> lines;

 private:
  SimulatedDispatcher& dispatcher_;
};

class SimulatedRandom : public Random {
 public:
  std::uint32_t uniform(std::uint32_t bound) override;
  std::deque<std::uint32_t> numbers;
  std::vector<std::uint32_t> bounds;  // What was asked for.
};

class SimulatedNotificationCenter : public NotificationCenter {
 public:
  void addObserver(std::string_view name, Observer observer) override;
  void post(std::string_view name, const Value& userInfo) override;
  void removeObservers() { observers_.clear(); }
  std::vector<std::string> observedNames() const;

 private:
  std::multimap<std::string, Observer> observers_;
};

}  // namespace quarnel::testing
