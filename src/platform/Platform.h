#pragma once

#include <chrono>

namespace quarnel {

class Clock;
class CounterStore;
class Device;
class Dispatcher;
class FileSystem;
class HostServices;
class Keychain;
class LogSink;
class Network;
class NetworkInterfaces;
class NotificationCenter;
class Random;
class UserDefaults;

// Everything outside the library, one port for one concern. The ports live as long as the platform.
class Platform {
 public:
  virtual ~Platform() = default;

  virtual Clock& clock() = 0;
  virtual Dispatcher& dispatcher() = 0;
  virtual Network& network() = 0;
  virtual UserDefaults& userDefaults() = 0;
  virtual Keychain& keychain() = 0;
  virtual Device& device() = 0;
  virtual FileSystem& fileSystem() = 0;
  virtual NetworkInterfaces& networkInterfaces() = 0;
  virtual HostServices& hostServices() = 0;
  virtual NotificationCenter& notificationCenter() = 0;
  virtual LogSink& logSink() = 0;
  virtual Random& random() = 0;
  virtual CounterStore& counterStore() = 0;

  // Whether lines of the adapter's own are written; off at first.
  virtual void setDebugMode(bool enabled) = 0;

  // Waits until nothing is queued, delayed or in flight; false when the timeout came first.
  virtual bool drain(std::chrono::milliseconds timeout) = 0;
};

}  // namespace quarnel
