// The fields of a report that tell of the event and the user.
#pragma once

#include "compose/Report.h"
#include "compose/TrackerContext.h"

namespace quarnel {

class UserFields {
 public:
  explicit UserFields(const TrackerContext& context) : context_(context) {}

  // "qn_events_api" and the purchase details.
  void addPurchase(Report& report) const;

  // "event", "eventvalue", "appUID" and "customData".
  void addEvent(Report& report) const;

  // The e-mail field. Throws when the e-mails hold no text at all.
  void addEmails(Report& report) const;

 private:
  const TrackerContext& context_;
};

}  // namespace quarnel
