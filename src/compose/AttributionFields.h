// The fields of a report that tell where the installation and this launch came from.
#pragma once

#include "compose/Report.h"
#include "compose/TrackerContext.h"

namespace quarnel {

class AttributionFields {
 public:
  explicit AttributionFields(const TrackerContext& context) : context_(context) {}

  // On a launch report: takes the pending deep link and push payload, and tells the delegate of the
  // link on the main queue.
  void addLinkAndPush(Report& report) const;

  // "installAttribution", the ad attribution and the reinstallation fields.
  void addAttribution(Report& report) const;

 private:
  void addDeepLink(Report& report, const std::string& link,
                   const std::optional<std::string>& sourceApplication) const;
  void postAppOpenAttribution(Dictionary parameters) const;
  void addAdAttribution(Report& report) const;
  void addReinstallation(Report& report) const;

  const TrackerContext& context_;
};

}  // namespace quarnel
