#pragma once

#include <QuarnelTvOsLib/AdClient.h>

#include "compose/ReportBuilder.h"
#include "compose/ReportIntake.h"
#include "compose/TrackerContext.h"

namespace quarnel {

// Launch reports, and the question to the platform's ad client whether the installation came from
// an ad. The answer goes with the launch report; one that comes after the report was built sends
// the launch once more.
class LaunchTracking {
 public:
  LaunchTracking(const TrackerContext& context, ReportIntake& intake, ReportBuilder& builder)
      : context_(context), intake_(intake), builder_(builder) {}

  void trackAppLaunch();

 private:
  void askAdClient();
  void ask(const AdClient& client);
  void receiveDetails(const std::optional<Dictionary>& details, bool failed);
  void receiveDates(std::optional<Date> purchaseDate, std::optional<Date> impressionDate);
  void receiveAttributed(bool attributed);
  void reportLaunchAgain();
  void sendLaunchToServer(Admission::SharedTicket ticket);

  const TrackerContext& context_;
  ReportIntake& intake_;
  ReportBuilder& builder_;
};

}  // namespace quarnel
