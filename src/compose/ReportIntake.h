#pragma once

#include <cstddef>
#include <string_view>

#include "installation/Ledger.h"
#include "platform/DebugLog.h"
#include "util/Admission.h"

namespace quarnel {

// Takes reports from the application's calls, as long as not too many wait to be built.
class ReportIntake {
 public:
  static constexpr std::size_t kMostReports = 16384;
  static constexpr std::size_t kMostBytes = std::size_t{64} << 20;

  ReportIntake(const DebugLog& log, Ledger& ledger) : log_(log), ledger_(ledger) {}

  // The ticket travels with the report until it is built. Null when the report is not taken.
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
  Admission admission_{{kMostReports, kMostBytes}};
};

}  // namespace quarnel
