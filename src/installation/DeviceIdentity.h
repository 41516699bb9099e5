#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "compose/TrackerContext.h"
#include "installation/QuarnelKeychainWrapper.h"

namespace quarnel {

// The identifier of this installation, the hardware's name, and the check of the app ID.
//
// The identifier is made once per installation and kept in the user defaults. The first one made on
// a device is also kept in the keychain, which outlives the application: finding it there tells a
// reinstallation, which is counted.
class DeviceIdentity {
 public:
  explicit DeviceIdentity(const TrackerContext& context) : context_(context) {}

  // Never empty. Callable from any thread; simultaneous first calls, in this
  // process or another one of the application, get the same identifier.
  std::string getQuarnelUID();

  // The kernel's name of the hardware with ";" for ",".
  std::optional<std::string> getDevicePaltform() const;

  // Logs what is wrong with the app ID; stops nothing.
  void validateAppID() const;

 private:
  std::string generateQuarnelId() const;
  std::optional<Date> installDate() const;
  bool getKeychainData();
  void countReinstallation(QuarnelKeychainWrapper& keychain);
  void scheduleKeychainWrite(std::string identifier);

  const TrackerContext& context_;
  std::mutex mutex_;  // Guards the making of the identifier and the field below.
  std::shared_ptr<QuarnelKeychainWrapper> keychain_;
};

}  // namespace quarnel
