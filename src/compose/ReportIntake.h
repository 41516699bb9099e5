#pragma once

#include <cstddef>
#include <string_view>

#include "installation/Ledger.h"
#include "util/Admission.h"
#include "util/DebugLog.h"
#include "util/Limits.h"

namespace quarnel {

// Accepts reports from the application's calls, as long as not too many wait to be composed.
class ReportIntake {
 public:
  ReportIntake(const DebugLog& log, Ledger& ledger) : log_(log), ledger_(ledger) {}

  // The ticket travels with the report until it is composed. nullptr when the report is not
  // accepted.
  Admission::SharedTicket admit(std::string_view operation, std::size_t bytes) {
    auto ticket = admission_.admit(bytes);
    ledger_.count(ticket ? Tally::kAccepted : Tally::kTooManyWaiting);
    if (!ticket) log_(operation, "too many reports wait to be built - not taking this one");
    return ticket;
  }

  std::size_t waiting() const { return admission_.pieces(); }

 private:
  const DebugLog& log_;
  Ledger& ledger_;
  Admission admission_{{limits::kMostWaiting, limits::kMostWaitingBytes}};
};

}  // namespace quarnel
