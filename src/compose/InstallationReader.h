#pragma once

#include "compose/InstallationFacts.h"
#include "installation/DeviceIdentity.h"
#include "installation/InstallDates.h"
#include "platform/DeviceFacts.h"
#include "platform/FileSystem.h"
#include "platform/HostServices.h"
#include "platform/NetworkInterfaces.h"
#include "platform/UserDefaults.h"
#include "util/DebugLog.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// Reads what a report says of the installation and its device. The dates that are taken once are
// stored on the way. In debug mode it writes the log lines of these fields, in their order, and the
// warnings about settings that belong among them.
class InstallationReader {
 public:
  InstallationReader(const Device& device, const FileSystem& files,
                     const NetworkInterfaces& interfaces, const HostServices& services,
                     const UserDefaults& defaults, DeviceIdentity& identity, InstallDates& dates,
                     const QuarnelUtils& utils, const DebugLog& log)
      : device_(device),
        files_(files),
        interfaces_(interfaces),
        services_(services),
        defaults_(defaults),
        identity_(identity),
        dates_(dates),
        utils_(utils),
        log_(log) {}

  InstallationFacts read(const Settings& settings, Date now);

 private:
  Advertising advertising(const Settings& settings) const;
  void readDates(InstallationFacts& facts, Date now);
  bool hasWifi() const;
  void warnOfCurrency(const Settings& settings) const;
  void warnOfCustomData(const Settings& settings) const;
  void warnOfEmails(const Settings& settings) const;

  const Device& device_;
  const FileSystem& files_;
  const NetworkInterfaces& interfaces_;
  const HostServices& services_;
  const UserDefaults& defaults_;
  DeviceIdentity& identity_;
  InstallDates& dates_;
  const QuarnelUtils& utils_;
  const DebugLog& log_;
};

}  // namespace quarnel
