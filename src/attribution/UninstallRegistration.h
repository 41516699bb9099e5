#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <mutex>
#include <string>

#include "installation/Counters.h"
#include "installation/DeviceIdentity.h"
#include "installation/InstallDates.h"
#include "installation/TrackerState.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/ServiceConfiguration.h"
#include "platform/UserDefaults.h"
#include "transport/StatSession.h"
#include "util/Admission.h"
#include "util/DebugLog.h"
#include "util/Limits.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// Registers the device's push token with the service, once a token. The token is remembered before
// it is sent, so a registration that fails is not sent again until there is another token.
class UninstallRegistration {
 public:
  UninstallRegistration(Dispatcher& dispatcher, const Device& device, UserDefaults& defaults,
                        const ServiceConfiguration& services, const TrackerState& state,
                        DeviceIdentity& identity, Counters& counters, InstallDates& dates,
                        StatSession& session, const QuarnelUtils& utils, const DebugLog& log)
      : dispatcher_(dispatcher),
        device_(device),
        defaults_(defaults),
        services_(services),
        state_(state),
        identity_(identity),
        counters_(counters),
        dates_(dates),
        session_(session),
        utils_(utils),
        log_(log) {}

  // Compares and remembers the token; the registration is sent 3.5 seconds later.
  void registerUninstall(Bytes deviceToken);

 private:
  bool remember(const std::string& description);
  void backgroundRegisterUninstall(const std::string& token);
  std::string body(const std::string& token);

  Dispatcher& dispatcher_;
  const Device& device_;
  UserDefaults& defaults_;
  const ServiceConfiguration& services_;
  const TrackerState& state_;
  DeviceIdentity& identity_;
  Counters& counters_;
  InstallDates& dates_;
  StatSession& session_;
  const QuarnelUtils& utils_;
  const DebugLog& log_;
  Admission waiting_{{limits::kMostTokens, limits::kMostTokenBytes}};
  std::mutex mutex_;  // Makes comparing and remembering one step.
};

}  // namespace quarnel
