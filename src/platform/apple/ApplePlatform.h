#pragma once

#include <memory>

#include "platform/HostOptions.h"
#include "platform/Platform.h"
#include "platform/apple/AppleClock.h"
#include "platform/apple/AppleDevice.h"
#include "platform/apple/AppleDispatcher.h"
#include "platform/apple/AppleFileSystem.h"
#include "platform/apple/AppleHostServices.h"
#include "platform/apple/AppleKeychain.h"
#include "platform/apple/AppleLog.h"
#include "platform/apple/AppleNetworkInterfaces.h"
#include "platform/apple/AppleRandom.h"
#include "platform/apple/AppleUserDefaults.h"
#include "platform/apple/UserDefaultsCounters.h"
#include "platform/common/DebugModeSink.h"
#include "platform/common/PendingWork.h"

namespace quarnel {

// The adapters of Apple's television platform put together. Never destroyed: the system's queues
// and sessions may call them until the process ends.
class ApplePlatform final : public Platform {
 public:
  ApplePlatform();

  Clock& clock() override { return clock_; }
  Dispatcher& dispatcher() override { return dispatcher_; }
  Network& network() override { return *network_; }
  UserDefaults& userDefaults() override { return userDefaults_; }
  Keychain& keychain() override { return keychain_; }
  Device& device() override { return device_; }
  FileSystem& fileSystem() override { return fileSystem_; }
  NetworkInterfaces& networkInterfaces() override { return networkInterfaces_; }
  HostServices& hostServices() override { return hostServices_; }
  NotificationCenter& notificationCenter() override;
  LogSink& logSink() override { return *log_; }
  void setDebugMode(bool enabled) override { adapterLog_->setEnabled(enabled); }
  Random& random() override { return random_; }
  CounterStore& counterStore() override { return counters_; }

  // Also saves the counters and synchronises the user defaults.
  bool drain(std::chrono::milliseconds timeout) override;

 private:
  const std::shared_ptr<LogSink> log_ = std::make_shared<AppleLog>();
  const std::shared_ptr<DebugModeSink> adapterLog_ = std::make_shared<DebugModeSink>(log_);
  const std::shared_ptr<PendingWork> pending_ = std::make_shared<PendingWork>();
  AppleClock clock_;
  AppleRandom random_;
  AppleDevice device_;
  AppleFileSystem fileSystem_;
  AppleNetworkInterfaces networkInterfaces_;
  AppleHostServices hostServices_;
  AppleKeychain keychain_;
  AppleUserDefaults userDefaults_;
  AppleDispatcher dispatcher_;
  UserDefaultsCounters counters_;
  const std::unique_ptr<Network> network_;
};

}  // namespace quarnel
