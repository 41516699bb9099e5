#include "util/DateText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace quarnel {
namespace {

// Moments beyond these have no four-digit year; they are shown as the nearest that has one.
constexpr std::chrono::sys_days kEarliest = std::chrono::year(0) / 1 / 1;
constexpr std::chrono::sys_days kLatest = std::chrono::year(9999) / 12 / 31;

constexpr std::chrono::seconds kReferenceDate =
    std::chrono::sys_days(std::chrono::year(2001) / 1 / 1).time_since_epoch();

struct Fields {
  int year, month, day, hour, minute, second;
};

// The nearest date that can be shown. Dates may come from files, at the ends of their range too.
Date showable(Date date) {
  return std::clamp(date, Date(kEarliest),
                    Date(kLatest + std::chrono::days(1)) - Date::duration(1));
}

Fields fieldsOf(Date date) {
  const auto days = std::chrono::floor<std::chrono::days>(date);
  const std::chrono::year_month_day day(days);
  const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(date - days));
  return {int(day.year()),           int(unsigned(day.month())),  int(unsigned(day.day())),
          int(time.hours().count()), int(time.minutes().count()), int(time.seconds().count())};
}

}  // namespace

std::string describeDate(Date date) {
  const Fields f = fieldsOf(showable(date));
  std::array<char, 96> buffer;
  const int size =
      std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02d %02d:%02d:%02d +0000", f.year,
                    f.month, f.day, f.hour, f.minute, f.second);
  return {buffer.data(), static_cast<std::size_t>(size)};
}

std::string formatServerDate(Date date, std::chrono::seconds utcOffset) {
  const Fields f = fieldsOf(showable(showable(date) + utcOffset));
  const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(utcOffset).count();
  std::array<char, 96> buffer;
  const int size = std::snprintf(buffer.data(), buffer.size(), "%04d-%02d-%02d_%02d%02d%c%02d%02d",
                                 f.year, f.month, f.day, f.hour, f.minute, minutes < 0 ? '-' : '+',
                                 std::abs(int(minutes / 60)), std::abs(int(minutes % 60)));
  return {buffer.data(), static_cast<std::size_t>(size)};
}

double secondsSince1970(Date date) {
  return std::chrono::duration<double>(date.time_since_epoch()).count();
}

double secondsSinceReferenceDate(Date date) {
  const Date::duration sinceEpoch =
      std::max(date.time_since_epoch(), Date::duration::min() + kReferenceDate);
  return std::chrono::duration<double>(sinceEpoch - kReferenceDate).count();
}

std::optional<Date> dateSince1970(double seconds) {
  using Seconds = std::chrono::duration<double>;
  constexpr Seconds kLimit = Date::max().time_since_epoch();
  const Seconds sinceEpoch(seconds);
  if (!(sinceEpoch > -kLimit && sinceEpoch < kLimit)) return std::nullopt;
  return Date(std::chrono::round<std::chrono::microseconds>(sinceEpoch));
}

}  // namespace quarnel
