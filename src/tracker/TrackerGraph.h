#pragma once

#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <memory>

#include "attribution/ConversionData.h"
#include "attribution/PurchaseValidation.h"
#include "attribution/UninstallRegistration.h"
#include "compose/ReportBuilder.h"
#include "compose/ReportIntake.h"
#include "compose/TrackerContext.h"
#include "installation/Counters.h"
#include "installation/DeviceIdentity.h"
#include "installation/InstallDates.h"
#include "installation/TrackerState.h"
#include "platform/DebugLog.h"
#include "platform/ServiceConfiguration.h"
#include "tracker/EventTracking.h"
#include "tracker/LaunchTracking.h"
#include "tracker/Lifecycle.h"
#include "tracker/LinkRecording.h"
#include "transport/QuarnelRequestCache.h"
#include "transport/QuarnelServerHandler.h"
#include "transport/StatSession.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// The composition root: the objects of one tracker, in the order in which they need each other.
// Tasks on the platform's queues refer to them, so they live until the process ends, or until the
// platform has dropped its tasks.
class QUARNEL_INTERNAL QuarnelTracker::Graph {
 public:
  Graph(Platform& platform, ServiceConfiguration serviceConfiguration);

  const ServiceConfiguration services;
  // What became of reports so far.
  Diagnostics diagnostics() const { return ledger.read(intake.waiting(), builder.inFlight()); }

  DebugLog log;
  Ledger ledger;
  TrackerState state;
  const QuarnelUtils utils;
  const TrackerContext context;
  const std::shared_ptr<SerialQueue> dispatchQueue;

  QuarnelServerHandler serverHandler;
  QuarnelRequestCache requestCache;

  StatSession statSession;

  DeviceIdentity identity;
  Counters counters;
  InstallDates dates;
  ConversionData conversionData;
  ReportIntake intake;
  ReportBuilder builder;

  EventTracking events;
  PurchaseValidation purchases;
  UninstallRegistration uninstalls;
  LaunchTracking launches;
  LinkRecording links;
  Lifecycle lifecycle;
};

}  // namespace quarnel
