// Dates as text.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <chrono>
#include <optional>
#include <string>

namespace quarnel {

// A date's description: "2016-03-05 14:07:00 +0000", always UTC.
std::string describeDate(Date date);

// The form that servers get: "yyyy-MM-dd_HHmmZ" in a zone that far ahead of UTC.
std::string formatServerDate(Date date, std::chrono::seconds utcOffset);

// Fractional seconds since 1970, and since the reference date 2001-01-01 UTC.
double secondsSince1970(Date date);
double secondsSinceReferenceDate(Date date);

// The moment so many seconds after 1970 began; absent for what a Date cannot hold.
std::optional<Date> dateSince1970(double seconds);

}  // namespace quarnel
