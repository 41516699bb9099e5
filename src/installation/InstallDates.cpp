#include "installation/InstallDates.h"

#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/FileSystem.h"
#include "platform/UserDefaults.h"

namespace quarnel {
std::optional<std::string> InstallDates::getInstallDate(const DateFormatter& formatter) {
  UserDefaults& defaults = context_.platform.userDefaults();
  if (auto stored = storedText(defaults, keys::kInstallDate)) return stored;
  context_.log("-[QuarnelTracker getInstallDate:]", "first installDate detected");
  FileSystem& files = context_.platform.fileSystem();
  auto date = formatter.string(files.creationDate(files.libraryDirectory()));
  storeText(defaults, keys::kInstallDate, date);
  return date;
}

std::string InstallDates::getFirstLanuchDate(const DateFormatter& formatter) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getFirstLanuchDate:]";
  UserDefaults& defaults = context_.platform.userDefaults();
  std::optional<std::string> date = storedText(defaults, keys::kFirstLaunchDate);
  if (!date) {
    date = "";
    if (counters_.getCounter(false) < 2) {
      context_.log(kOperation, "first launch detected");
      date = formatter.string(context_.platform.clock().now());
    }
    storeText(defaults, keys::kFirstLaunchDate, date);
    defaults.synchronize();
  }
  context_.log(kOperation, "first launch date: ", date);
  return *date;
}

std::optional<std::string> InstallDates::getVersionUpdateDate(
    const std::optional<std::string>& currentVersion,
    const std::optional<std::string>& currentUpdateDate) {
  constexpr std::string_view kOperation =
      "-[QuarnelTracker getVersionUpdateDate:currentUpdateDate:]";
  UserDefaults& defaults = context_.platform.userDefaults();
  const std::optional<std::string> savedVersion = storedText(defaults, keys::kLastVersion);
  context_.log(kOperation, "saved version: ", savedVersion);
  if (savedVersion && savedVersion == currentVersion) {
    context_.log(kOperation, "use date3 from storage");
    return storedText(defaults, keys::kUpdateDate);
  }
  context_.log(kOperation, "new version detected");
  storeText(defaults, keys::kLastVersion, currentVersion);
  storeText(defaults, keys::kUpdateDate, currentUpdateDate);
  defaults.remove(keys::kConversionRetries);
  return currentUpdateDate;
}

}  // namespace quarnel
