#pragma once

#include <QuarnelTvOsLib/HostEnvironment.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/DeviceFacts.h"
#include "platform/ServiceConfiguration.h"

namespace quarnel {

// What a HostEnvironment holds. Empty functions and absent texts mean the platform's default.
struct HostOptions {
  ServiceConfiguration services;
  std::optional<std::string> stateDirectory;
  std::optional<std::string> keychainFile;
  std::optional<std::string> certificateAuthorityFile;
  bool usesProxyVariables = true;
  BundleFacts bundle;
  std::map<std::string, std::optional<std::string>, std::less<>> deviceFacts;
  std::optional<bool> wifi;
  std::vector<std::string> knownClasses;
  std::function<void(std::function<void()>)> mainExecutor;
  std::function<void(std::string_view)> logSink;
  std::function<std::optional<AdvertisingIdentity>()> advertisingIdentity;
  std::function<std::shared_ptr<AdClient>()> adClient;
  std::function<bool()> hasCloudIdentity;
};

}  // namespace quarnel
