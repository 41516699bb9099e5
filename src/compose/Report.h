// A report on its road: the request, what is taken at its hand-over, and its facts. ReportBuilder
// tells the whole life.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "installation/Counters.h"
#include "installation/TrackerState.h"
#include "util/Admission.h"

namespace quarnel {

inline constexpr std::string_view kLaunchEventName = "Launched";

// The full name of the operation that builds reports, as log lines carry it.
inline constexpr std::string_view kBuildOperation =
    "-[QuarnelTracker callServerWithEventName:value:withDictionary:isEvent:isNewAPI:]";

// What the application asked for.
struct ReportRequest {
  std::optional<std::string> eventName;
  std::optional<std::string> value;        // An event's one value.
  std::optional<Dictionary> values;        // Its several values.
  std::unique_ptr<Dictionary> dictionary;  // Purchase details.
  bool isEvent = false;                    // For the events host, not the launch host.
  bool isNewAPI = false;                   // From the interface with several values.
  Admission::SharedTicket ticket;          // Its place among those that wait.

  bool isLaunch() const { return eventName == kLaunchEventName; }
  bool isInAppEvent() const { return eventName && !isLaunch(); }
};

// The ad client's answers so far.
struct AdAttribution {
  std::optional<bool> isAttributed;  // Absent: it has not answered.
  std::optional<std::string> purchaseDate;
  std::optional<std::string> impressionDate;
  std::optional<Value> details;  // A dictionary.
};

// Everything that a report must have of the moment at which it was handed over.
struct HandOver {
  Date moment;
  std::shared_ptr<const Settings> settings;
  std::optional<std::int32_t> endedSessions;
  std::shared_ptr<const AdAttribution> ads;
  std::unique_ptr<const PendingLaunch> pending;  // For launches.
};

// The request may share its hand-over with others that were handed over at the same moment.
struct HandedOver {
  ReportRequest request;
  std::shared_ptr<const HandOver> handOver;
};

// The parts of a body that reports have in common, as JSON fields joined by commas. Made once for
// as long as the installation and the settings stay the same.
struct CommonFields {
  std::string identity;     // "uid", "serverApiVersion".
  std::string device;       // "name" to "platformextension".
  std::string application;  // "deviceTrackingDisabled" to "currentCountrycode".
  std::string user;         // "appUID", "customData".
  std::string attribution;  // "wifi" to the e-mails.

  friend bool operator==(const CommonFields&, const CommonFields&) = default;
};

// Everything that a report's body and URL are made of. Nothing about a report is read later.
struct ReportFacts {
  ReportRequest request;
  std::shared_ptr<const HandOver> handOver;
  std::shared_ptr<const CommonFields> common;
  ReportNumbers numbers;
  std::string receipt;          // "installReceiptData", if it is carried.
  std::string purchaseAndLink;  // "productId" to "qn_deeplink", as far as they are carried.
};

}  // namespace quarnel
