#pragma once

#include <optional>
#include <string>

#include "installation/Counters.h"
#include "platform/FileSystem.h"
#include "platform/UserDefaults.h"
#include "util/DateFormatter.h"
#include "util/DebugLog.h"

namespace quarnel {

// The persistent dates: when the application was installed, first launched and last updated. Each
// is taken once and then kept.
class InstallDates {
 public:
  InstallDates(UserDefaults& defaults, const FileSystem& files, const Counters& counters,
               const DebugLog& log)
      : defaults_(defaults), files_(files), counters_(counters), log_(log) {}

  // Absent while the date cannot be read; the next call tries again.
  std::optional<std::string> getInstallDate(const DateFormatter& formatter);

  // `now` for the first report; the empty text when the first launch passed unseen.
  std::string getFirstLanuchDate(const DateFormatter& formatter, Date now);

  // The update date that was current when this version was first seen. A new version also starts
  // the retries of conversion data afresh.
  std::optional<std::string> getVersionUpdateDate(
      const std::optional<std::string>& currentVersion,
      const std::optional<std::string>& currentUpdateDate);

 private:
  UserDefaults& defaults_;
  const FileSystem& files_;
  const Counters& counters_;
  const DebugLog& log_;
};

}  // namespace quarnel
