#pragma once

#include <QuarnelTvOsLib/AdClient.h>

#include "compose/ReportBuilder.h"
#include "compose/ReportIntake.h"
#include "installation/Ledger.h"
#include "installation/TrackerState.h"
#include "platform/Clock.h"
#include "platform/Dispatcher.h"
#include "platform/HostServices.h"
#include "platform/ServiceConfiguration.h"
#include "platform/UserDefaults.h"
#include "util/DebugLog.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// Launch reports, and the question to the platform's ad client whether the installation came from
// an ad. The answer goes with the launch report; one that comes after the report was handed over
// sends the launch once more.
class LaunchTracking {
 public:
  LaunchTracking(ReportIntake& intake, ReportBuilder& builder, Dispatcher& dispatcher,
                 const Clock& clock, const HostServices& hostServices, UserDefaults& defaults,
                 const ServiceConfiguration& services, TrackerState& state,
                 const QuarnelUtils& utils, Ledger& ledger, const DebugLog& log)
      : intake_(intake),
        builder_(builder),
        dispatcher_(dispatcher),
        clock_(clock),
        hostServices_(hostServices),
        defaults_(defaults),
        services_(services),
        state_(state),
        utils_(utils),
        ledger_(ledger),
        log_(log) {}

  void trackAppLaunch();

 private:
  void askAdClient();
  void askForDetails(const AdClient& client);
  void askForAttribution(const AdClient& client);
  void receiveDetails(const std::optional<Dictionary>& details, bool failed);
  void receiveDates(std::optional<Date> purchaseDate, std::optional<Date> impressionDate);
  void receiveAttributed(bool attributed);
  void reportLaunchAgain();
  void sendLaunchToServer(Admission::SharedTicket ticket);

  ReportIntake& intake_;
  ReportBuilder& builder_;
  Dispatcher& dispatcher_;
  const Clock& clock_;
  const HostServices& hostServices_;
  UserDefaults& defaults_;
  const ServiceConfiguration& services_;
  TrackerState& state_;
  const QuarnelUtils& utils_;
  Ledger& ledger_;
  const DebugLog& log_;
};

}  // namespace quarnel
