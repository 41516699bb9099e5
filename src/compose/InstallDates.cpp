#include "compose/InstallDates.h"

#include <string_view>

#include "platform/FileSystem.h"
#include "platform/UserDefaults.h"
#include "util/StoredValues.h"

namespace quarnel {
namespace {

constexpr std::string_view kInstallDate = "QuarnelInstallDate";
constexpr std::string_view kFirstLaunchDate = "QuarnelFirstLaunchDate";
constexpr std::string_view kLastVersion = "QuarnelLastVersion";
constexpr std::string_view kUpdateDate = "QuarnelDate3";
constexpr std::string_view kConversionRetries = "QuarnelConversionDataRequestRetries";

}  // namespace

std::optional<std::string> InstallDates::getInstallDate(const DateFormatter& formatter) {
  UserDefaults& defaults = context_.platform.userDefaults();
  if (auto stored = storedText(defaults, kInstallDate)) return stored;
  context_.log("-[QuarnelTracker getInstallDate:]", "first installDate detected");
  FileSystem& files = context_.platform.fileSystem();
  auto date = formatter.string(files.creationDate(files.libraryDirectory()));
  storeText(defaults, kInstallDate, date);
  return date;
}

std::string InstallDates::getFirstLanuchDate(const DateFormatter& formatter) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getFirstLanuchDate:]";
  UserDefaults& defaults = context_.platform.userDefaults();
  std::optional<std::string> date = storedText(defaults, kFirstLaunchDate);
  if (!date) {
    date = "";
    if (counters_.getCounter(false) < 2) {
      context_.log(kOperation, "first launch detected");
      date = formatter.string(context_.platform.clock().now());
    }
    storeText(defaults, kFirstLaunchDate, date);
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
  const std::optional<std::string> savedVersion = storedText(defaults, kLastVersion);
  context_.log(kOperation, "saved version: ", savedVersion);
  if (savedVersion && savedVersion == currentVersion) {
    context_.log(kOperation, "use date3 from storage");
    return storedText(defaults, kUpdateDate);
  }
  context_.log(kOperation, "new version detected");
  storeText(defaults, kLastVersion, currentVersion);
  storeText(defaults, kUpdateDate, currentUpdateDate);
  defaults.remove(kConversionRetries);
  return currentUpdateDate;
}

}  // namespace quarnel
