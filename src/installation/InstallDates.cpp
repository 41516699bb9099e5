#include "installation/InstallDates.h"

#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"

namespace quarnel {

std::optional<std::string> InstallDates::getInstallDate(const DateFormatter& formatter) {
  if (auto stored = storedText(defaults_, keys::kInstallDate)) return stored;
  log_("-[QuarnelTracker getInstallDate:]", "first installDate detected");
  auto date = formatter.string(files_.creationDate(files_.libraryDirectory()));
  storeText(defaults_, keys::kInstallDate, date);
  return date;
}

std::string InstallDates::getFirstLanuchDate(const DateFormatter& formatter, Date now) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getFirstLanuchDate:]";
  std::optional<std::string> date = storedText(defaults_, keys::kFirstLaunchDate);
  if (!date) {
    date = "";
    if (counters_.getCounter() < 2) {
      log_(kOperation, "first launch detected");
      date = formatter.string(now);
    }
    storeText(defaults_, keys::kFirstLaunchDate, date);
    defaults_.synchronize();
  }
  log_(kOperation, "first launch date: ", date);
  return *date;
}

std::optional<std::string> InstallDates::getVersionUpdateDate(
    const std::optional<std::string>& currentVersion,
    const std::optional<std::string>& currentUpdateDate) {
  constexpr std::string_view kOperation =
      "-[QuarnelTracker getVersionUpdateDate:currentUpdateDate:]";
  const std::optional<std::string> savedVersion = storedText(defaults_, keys::kLastVersion);
  log_(kOperation, "saved version: ", savedVersion);
  if (savedVersion && savedVersion == currentVersion) {
    log_(kOperation, "use date3 from storage");
    return storedText(defaults_, keys::kUpdateDate);
  }
  log_(kOperation, "new version detected");
  storeText(defaults_, keys::kLastVersion, currentVersion);
  storeText(defaults_, keys::kUpdateDate, currentUpdateDate);
  defaults_.remove(keys::kConversionRetries);
  return currentUpdateDate;
}

}  // namespace quarnel
