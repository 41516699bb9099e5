// What the list of requests shows of one, and by what it is found.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ReceivedRequest.h"

namespace collector {

struct ReportSummary {
  std::string installation;  // Empty when the request names none.
  std::string event;
  std::optional<std::int64_t> launches;  // The counters, as far as the request carries them.
  std::optional<std::int64_t> events;
  std::optional<std::int64_t> sessions;
  std::optional<double> cachedSeconds;  // Present on replayed requests.
  std::optional<double> builtAt;        // The report's own timestamp, seconds since 1970.
};

ReportSummary summarize(const ReceivedReport& report);

}  // namespace collector
