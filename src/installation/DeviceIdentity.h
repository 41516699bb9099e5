#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "installation/QuarnelKeychainWrapper.h"
#include "platform/Clock.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "platform/Keychain.h"
#include "platform/Random.h"
#include "platform/UserDefaults.h"
#include "util/DebugLog.h"

namespace quarnel {

// The identifier of this installation, the hardware's name, and the check of the app ID.
//
// The identifier is made once per installation and kept in the user defaults. The first one made on
// a device is also kept in the keychain, which outlives the application: finding it there tells a
// reinstallation, which is counted.
class DeviceIdentity {
 public:
  // Labels and services are made of the vendor's prefixes.
  struct Names {
    std::string keychainService;
    std::string queueLabel;
  };

  DeviceIdentity(UserDefaults& defaults, Keychain& keychain, const FileSystem& files,
                 const Clock& clock, Random& random, Dispatcher& dispatcher, Names names,
                 const DebugLog& log)
      : defaults_(defaults),
        store_(keychain),
        files_(files),
        clock_(clock),
        random_(random),
        dispatcher_(dispatcher),
        names_(std::move(names)),
        log_(log) {}

  // Never empty. Callable from any thread; simultaneous first calls, in this
  // process or another one of the application, get the same identifier.
  std::string getQuarnelUID();

  // The kernel's name of the hardware with ";" for ",".
  static std::optional<std::string> getDevicePaltform(std::optional<std::string> hardwareMachine);

  // Logs what is wrong with an app ID; stops nothing.
  void validateAppID(const std::optional<std::string>& appleAppID) const;

 private:
  std::string generateQuarnelId() const;
  std::optional<Date> installDate() const;
  bool getKeychainData();
  void countReinstallation(QuarnelKeychainWrapper& keychain);
  void scheduleKeychainWrite(std::string identifier);

  UserDefaults& defaults_;
  Keychain& store_;
  const FileSystem& files_;
  const Clock& clock_;
  Random& random_;
  Dispatcher& dispatcher_;
  const Names names_;
  const DebugLog& log_;
  std::mutex mutex_;  // Guards the making of the identifier and the field below.
  std::shared_ptr<QuarnelKeychainWrapper> keychain_;
};

}  // namespace quarnel
