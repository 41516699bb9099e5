#pragma once

#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <memory>

#include "attribution/ConversionData.h"
#include "attribution/PurchaseValidation.h"
#include "attribution/UninstallRegistration.h"
#include "compose/InstallationReader.h"
#include "compose/ReportBuilder.h"
#include "compose/ReportGatherer.h"
#include "compose/ReportIntake.h"
#include "installation/Counters.h"
#include "installation/DelegateSlot.h"
#include "installation/DeviceIdentity.h"
#include "installation/InstallDates.h"
#include "installation/Ledger.h"
#include "installation/TrackerState.h"
#include "platform/Platform.h"
#include "platform/ServiceConfiguration.h"
#include "tracker/EventTracking.h"
#include "tracker/LaunchTracking.h"
#include "tracker/Lifecycle.h"
#include "tracker/LinkRecording.h"
#include "transport/Delivery.h"
#include "transport/StatSession.h"
#include "util/DebugLog.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// The composition root: the objects of one tracker, in the order in which they need each other.
// Tasks on the platform's queues refer to them, so they live until the process ends, or until the
// platform has dropped its tasks.
class QUARNEL_INTERNAL QuarnelTracker::Graph {
 public:
  Graph(Platform& adapter, ServiceConfiguration serviceConfiguration);

  Diagnostics diagnostics() const {
    return ledger.read(intake.waiting(), builder.inFlight(), purchases.waiting());
  }

  Platform& platform;
  const ServiceConfiguration services;
  DebugLog log;
  Ledger ledger;
  TrackerState state;
  DelegateSlot delegate;
  const QuarnelUtils utils;

  DeviceIdentity identity;
  Counters counters;
  InstallDates dates;

  Delivery delivery;
  StatSession statSession;

  ConversionData conversionData;

  ReportIntake intake;
  InstallationReader installation;
  ReportGatherer gatherer;
  ReportBuilder builder;

  EventTracking events;
  PurchaseValidation purchases;
  UninstallRegistration uninstalls;
  LaunchTracking launches;
  LinkRecording links;
  Lifecycle lifecycle;
};

// What the helpers ask, asked of the platform and written to the log.
QuarnelUtils::Environment utilsEnvironment(Platform& platform, const DebugLog& log);

}  // namespace quarnel
