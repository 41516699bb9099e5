#pragma once

#include <memory>

#include "platform/HostOptions.h"
#include "platform/Platform.h"
#include "platform/common/DebugModeSink.h"
#include "platform/common/HostProvidedServices.h"
#include "platform/common/PendingWork.h"
#include "platform/linux/device/LinuxDevice.h"
#include "platform/linux/device/SystemClock.h"
#include "platform/linux/device/SystemNetworkInterfaces.h"
#include "platform/linux/device/SystemRandom.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/http/CurlEngine.h"
#include "platform/linux/http/CurlNetwork.h"
#include "platform/linux/keychain/SqliteKeychain.h"
#include "platform/linux/store/CounterTable.h"
#include "platform/linux/store/LinuxFileSystem.h"
#include "platform/linux/store/SqliteUserDefaults.h"

namespace quarnel {

// The Linux adapters put together. Usually leaked; its end stops all threads and drops what is
// pending.
class LinuxPlatform final : public Platform {
 public:
  explicit LinuxPlatform(const HostOptions& options);
  ~LinuxPlatform() override;

  Clock& clock() override { return clock_; }
  Dispatcher& dispatcher() override { return dispatcher_; }
  Network& network() override { return network_; }
  UserDefaults& userDefaults() override { return *userDefaults_; }
  Keychain& keychain() override;
  Device& device() override { return device_; }
  FileSystem& fileSystem() override { return fileSystem_; }
  NetworkInterfaces& networkInterfaces() override { return networkInterfaces_; }
  HostServices& hostServices() override { return hostServices_; }
  NotificationCenter& notificationCenter() override;
  LogSink& logSink() override { return *log_; }
  void setDebugMode(bool enabled) override { adapterLog_->setEnabled(enabled); }
  Random& random() override { return random_; }
  CounterStore& counterStore() override { return *counters_; }

  // Also commits the user defaults and the counters.
  bool drain(std::chrono::milliseconds timeout) override;

 private:
  LinuxPlatform(const HostOptions& options, const ApplicationDirectories& directories);

  const std::shared_ptr<LogSink> log_;
  const std::shared_ptr<DebugModeSink> adapterLog_;
  const std::shared_ptr<PendingWork> pending_;
  SystemClock clock_;
  SystemRandom random_;
  LinuxDevice device_;
  LinuxFileSystem fileSystem_;
  SystemNetworkInterfaces networkInterfaces_;
  HostProvidedServices hostServices_;
  LinuxDispatcher dispatcher_;
  const std::shared_ptr<CounterTable> counters_;
  const std::shared_ptr<SqliteUserDefaults> userDefaults_;
  SqliteKeychain keychainFile_;
  const std::unique_ptr<Keychain> mirroredKeychain_;  // Null: the file alone.
  const std::shared_ptr<CurlEngine> engine_;
  CurlNetwork network_;
};

}  // namespace quarnel
