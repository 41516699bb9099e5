#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>

#include "platform/Clock.h"
#include "util/DateText.h"

namespace quarnel {

// Formats dates for servers, "yyyy-MM-dd_HHmmZ", in the device's current time zone.
class DateFormatter {
 public:
  explicit DateFormatter(const Clock& clock) : clock_(clock) {}

  std::string string(Date date) const { return formatServerDate(date, clock_.utcOffset(date)); }
  std::optional<std::string> string(std::optional<Date> date) const {
    if (!date) return std::nullopt;
    return string(*date);
  }

 private:
  const Clock& clock_;
};

}  // namespace quarnel
