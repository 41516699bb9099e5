#pragma once

#include <optional>
#include <string>

#include "compose/TrackerContext.h"
#include "installation/Counters.h"
#include "platform/DateFormatter.h"

namespace quarnel {

// The persistent dates: when the application was installed, first launched and last updated. Each
// is taken once and then kept.
class InstallDates {
 public:
  InstallDates(const TrackerContext& context, Counters& counters)
      : context_(context), counters_(counters) {}

  // Absent while the date cannot be read; the next call tries again.
  std::optional<std::string> getInstallDate(const DateFormatter& formatter);

  // The empty text when the first launch passed unseen.
  std::string getFirstLanuchDate(const DateFormatter& formatter);

  // The update date that was current when this version was first seen. A new version also starts
  // the retries of conversion data afresh.
  std::optional<std::string> getVersionUpdateDate(
      const std::optional<std::string>& currentVersion,
      const std::optional<std::string>& currentUpdateDate);

 private:
  const TrackerContext& context_;
  Counters& counters_;
};

}  // namespace quarnel
