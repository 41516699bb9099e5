#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "util/DateText.h"

namespace quarnel {

// Formats dates for servers, "yyyy-MM-dd_HHmmZ", in the device's time zone.
class DateFormatter {
 public:
  // How far local time is ahead of UTC at a moment.
  using UtcOffset = std::function<std::chrono::seconds(Date)>;

  explicit DateFormatter(UtcOffset utcOffset) : utcOffset_(std::move(utcOffset)) {}

  std::string string(Date date) const { return formatServerDate(date, utcOffset_(date)); }
  std::optional<std::string> string(std::optional<Date> date) const {
    if (!date) return std::nullopt;
    return string(*date);
  }

 private:
  const UtcOffset utcOffset_;
};

}  // namespace quarnel
