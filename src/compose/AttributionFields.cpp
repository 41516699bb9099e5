#include "compose/AttributionFields.h"

#include <string_view>
#include <utility>

#include "compose/DelegateCall.h"
#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/Dispatcher.h"
#include "platform/UserDefaults.h"
#include "util/Json.h"

namespace quarnel {
void AttributionFields::addLinkAndPush(Report& report) const {
  if (!report.isLaunch()) return;
  struct Pending {
    std::optional<std::string> link, sourceApplication;
    std::optional<Value> push;
  };
  // Taken out in one step, so that what is recorded meanwhile waits for the next launch.
  const Pending pending = context_.state.with([](TrackerFields& fields) {
    Pending taken;
    if (fields.deeplink) {
      taken.link = std::exchange(fields.deeplink, std::nullopt);
      taken.sourceApplication = std::exchange(fields.sourceApplication, std::nullopt);
    }
    taken.push = std::exchange(fields.pushPayload, std::nullopt);
    return taken;
  });
  if (pending.link) addDeepLink(report, *pending.link, pending.sourceApplication);
  if (!pending.push) return;
  const bool isContainer =
      pending.push->dictionary() != nullptr || pending.push->array() != nullptr;
  auto json = isContainer ? writeJson(*pending.push) : std::nullopt;
  if (json) {
    report.set("qn_deeplink", *std::move(json));
  } else {
    context_.log(kBuildOperation, "pushPayload is not valid json data");
  }
}

void AttributionFields::addDeepLink(Report& report, const std::string& link,
                                    const std::optional<std::string>& sourceApplication) const {
  report.set("qn_deeplink", link);
  if (sourceApplication) report.set("deeplink_sourceapplication", sourceApplication);
  if (link.find("qn_deeplink=") != std::string::npos) {
    context_.log(kBuildOperation, "Quarnel deepLinkParameters = ", link);
    postAppOpenAttribution(QuarnelUtils::URLQueryParameters(link));
  } else {
    context_.log(kBuildOperation, "Opened from Link = ", link);
    postAppOpenAttribution({{"link", link}});
  }
}

void AttributionFields::postAppOpenAttribution(Dictionary parameters) const {
  const QuarnelTrackerDelegate* delegate = context_.state.get(&TrackerFields::delegate);
  if (delegate == nullptr || !delegate->onAppOpenAttribution) return;
  postToDelegate(context_, &QuarnelTrackerDelegate::onAppOpenAttribution, std::move(parameters));
}

void AttributionFields::addAttribution(Report& report) const {
  if (auto stored = context_.platform.userDefaults().get(keys::kConversionData)) {
    report.set("installAttribution", *std::move(stored));
  }
  addAdAttribution(report);
  addReinstallation(report);
}

void AttributionFields::addAdAttribution(Report& report) const {
  const UserDefaults& defaults = context_.platform.userDefaults();
  if (defaults.get(keys::kAdAttribution)) {
    report.set("qn_iadattribution",
               storedBoolean(defaults, keys::kAdAttribution) ? "true" : "false");
    if (auto date = defaults.get(keys::kAdPurchaseDate)) report.set("qn_iad_purchase_date", *date);
    if (auto date = defaults.get(keys::kAdImpressionDate))
      report.set("qn_iad_impression_date", *date);
  }
  const std::optional<Value> details = context_.state.get(&TrackerFields::iADV3data);
  if (!details) return;
  if (auto json = writeJson(*details)) report.set("qn_iad_v3_data", *std::move(json));
}

void AttributionFields::addReinstallation(Report& report) const {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const std::int64_t counter = storedInteger(defaults, keys::kReinstallCounter);
  if (counter > 0) report.set("reinstallCounter", counter);
  if (auto original = storedText(defaults, keys::kOriginalUserId)) {
    report.set("originalQuarnelId", *std::move(original));
  }
}

}  // namespace quarnel
