#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

#include "util/Admission.h"
#include "util/QuarnelDictionary.h"

namespace quarnel {

inline constexpr std::string_view kLaunchEventName = "Launched";

// The full name of the operation that builds reports, as log lines carry it.
inline constexpr std::string_view kBuildOperation =
    "-[QuarnelTracker callServerWithEventName:value:withDictionary:isEvent:isNewAPI:]";

// One launch or event report on its way from the call to the finished body.
struct Report {
  // What the caller asked for.
  std::optional<std::string> eventName;
  std::optional<std::string> value;
  std::optional<Dictionary> dictionary;  // Purchase details.
  bool isEvent = false;                  // For the events host, not the launch host.
  bool isNewAPI = false;                 // From the interface with several values.
  Admission::SharedTicket ticket;        // Its place among those that wait.

  // Fixed when the building starts.
  bool isFirstTime = false;           // The first report of this installation.
  std::optional<Dictionary> receipt;  // Taken by a launch that is the first report.
  bool isLaunch() const { return eventName == kLaunchEventName; }
  bool isInAppEvent() const { return eventName && !isLaunch(); }

  QuarnelDictionary body;

  void set(std::string key, std::optional<Value> content) {
    body.setParameter(std::move(content), std::move(key));
  }
};

}  // namespace quarnel
