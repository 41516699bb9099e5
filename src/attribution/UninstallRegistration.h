#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <memory>
#include <string>

#include "compose/TrackerContext.h"
#include "installation/Counters.h"
#include "installation/DeviceIdentity.h"
#include "installation/InstallDates.h"
#include "transport/StatSession.h"
#include "util/Admission.h"

namespace quarnel {

class SerialQueue;

// Registers the device's push token with the service, once a token. The token is remembered before
// it is sent, so a registration that fails is not sent again until there is another token.
class UninstallRegistration {
 public:
  UninstallRegistration(const TrackerContext& context, DeviceIdentity& identity, Counters& counters,
                        InstallDates& dates, StatSession& session);

  // Returns at once; the registration is sent 3.5 seconds later.
  void registerUninstall(Bytes deviceToken);

 private:
  void remember(const Bytes& deviceToken, const Admission::SharedTicket& ticket);
  void backgroundRegisterUninstall(const std::string& token);
  std::string body(const std::string& token);

  const TrackerContext& context_;
  DeviceIdentity& identity_;
  Counters& counters_;
  InstallDates& dates_;
  StatSession& session_;
  Admission waiting_{{64, std::size_t{1} << 20}};
  const std::shared_ptr<SerialQueue> queue_;  // Compares and remembers tokens, in order.
};

}  // namespace quarnel
