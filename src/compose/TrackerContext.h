#pragma once

#include "installation/Ledger.h"
#include "installation/TrackerState.h"
#include "platform/DebugLog.h"
#include "platform/Platform.h"
#include "platform/ServiceConfiguration.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// The library's version and the version of the server interface it speaks.
inline constexpr const char* kLibraryVersion = "1.0.0";
inline constexpr const char* kServerApiVersion = "4";

// What every responsibility of one tracker works with. Lives as long as the tracker.
struct TrackerContext {
  Platform& platform;
  const ServiceConfiguration& services;
  TrackerState& state;
  DebugLog& log;
  const QuarnelUtils& utils;
  Ledger& ledger;
};

}  // namespace quarnel
