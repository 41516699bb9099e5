#include "Properties.h"

#include <optional>
#include <string_view>

#include "Arguments.h"
#include "BadInput.h"

namespace host {
namespace {

using quarnel::QuarnelTracker;
using quarnel::Value;

struct TextProperty {
  std::string_view name;
  void (QuarnelTracker::*set)(std::optional<std::string>);
};

struct FlagProperty {
  std::string_view name;
  void (QuarnelTracker::*set)(bool);
};

constexpr TextProperty kTexts[] = {
    {"quarnelDevKey", &QuarnelTracker::setQuarnelDevKey},
    {"appleAppID", &QuarnelTracker::setAppleAppID},
    {"customerUserID", &QuarnelTracker::setCustomerUserID},
    {"currencyCode", &QuarnelTracker::setCurrencyCode},
};

constexpr FlagProperty kFlags[] = {
    {"isDebug", &QuarnelTracker::setIsDebug},
    {"shouldCollectDeviceName", &QuarnelTracker::setShouldCollectDeviceName},
    {"disableAppleAdSupportTracking", &QuarnelTracker::setDisableAppleAdSupportTracking},
    {"deviceTrackingDisabled", &QuarnelTracker::setDeviceTrackingDisabled},
    {"disableIAdTracking", &QuarnelTracker::setDisableIAdTracking},
    {"useReceiptValidationSandbox", &QuarnelTracker::setUseReceiptValidationSandbox},
};

}  // namespace

void setProperty(QuarnelTracker& tracker, const std::string& name, const Value& value) {
  for (const TextProperty& property : kTexts) {
    if (property.name == name) return (tracker.*property.set)(optionalText(value, name));
  }
  for (const FlagProperty& property : kFlags) {
    if (property.name == name) return (tracker.*property.set)(requiredBoolean(value, name));
  }
  // The setter of this property has a name of its own; a script may use either.
  if (name == "customData" || name == "additionalData") {
    return tracker.setAdditionalData(optionalDictionary(value, name));
  }
  throw BadInput("there is no property " + name);
}

}  // namespace host
