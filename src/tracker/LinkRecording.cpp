#include "tracker/LinkRecording.h"

#include <utility>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

std::string describeActivity(const UserActivity& activity) {
  std::string description = "<NSUserActivity " + validUtf8(activity.activityType);
  if (activity.webpageURL) description += " " + validUtf8(*activity.webpageURL);
  return description + ">";
}

std::optional<Value> entry(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value != nullptr ? std::optional(*value) : std::nullopt;
}

}  // namespace

// The first link and the first source application wait for the next launch report.
void LinkRecording::handleOpenURL(std::optional<std::string> url,
                                  std::optional<std::string> sourceApplication,
                                  const std::optional<Dictionary>& annotation) {
  url = validUtf8(std::move(url));
  sourceApplication = validUtf8(std::move(sourceApplication));
  const std::optional<std::string> recorded = state_.update([&](TrackerFields& fields) {
    PendingLaunch& pending = fields.pending;
    if (!pending.deeplink) pending.deeplink = std::move(url);
    if (!pending.sourceApplication) pending.sourceApplication = std::move(sourceApplication);
    return pending.deeplink;
  });
  log_("-[QuarnelTracker handleOpenURL:sourceApplication:withAnnotation:]",
       "HandleOpenUrl: ", recorded);
  if (annotation) {
    state_.set(&TrackerFields::referralURL, entry(*annotation, "ReferrerURL"));
  }
}

void LinkRecording::continueUserActivity(const UserActivity& activity, bool hasRestorationHandler) {
  if (log_.isEnabled()) {
    log_("-[QuarnelTracker continueUserActivity:restorationHandler:]",
         "User Activity: ", describeActivity(activity),
         ", restoration Handler: ", hasRestorationHandler ? "<block>" : "(null)");
  }
  if (activity.activityType != NSUserActivityTypeBrowsingWeb) return;
  auto url = validUtf8(activity.webpageURL);
  state_.update([&](TrackerFields& fields) { fields.pending.deeplink = std::move(url); });
}

void LinkRecording::didUpdateUserActivity(const UserActivity& activity) {
  if (!log_.isEnabled()) return;
  log_("-[QuarnelTracker didUpdateUserActivity:]",
       "didUpdateUserActivity = ", describeActivity(activity));
}

void LinkRecording::handlePushNotification(const Dictionary& userInfo) {
  const std::optional<Value> payload = entry(userInfo, "qn");
  state_.update([&](TrackerFields& fields) { fields.pending.pushPayload = payload; });
  if (!log_.isEnabled()) return;
  log_("-[QuarnelTracker handlePushNotification:]", "Push Notification received qn payload = ",
       payload ? describe(*payload) : std::string("(null)"));
}

}  // namespace quarnel
