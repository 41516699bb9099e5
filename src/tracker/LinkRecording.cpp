#include "tracker/LinkRecording.h"

#include <utility>

#include "util/Json.h"

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
  const std::optional<std::string> recorded = context_.state.with([&](TrackerFields& fields) {
    if (!fields.deeplink) fields.deeplink = std::move(url);
    if (!fields.sourceApplication) fields.sourceApplication = std::move(sourceApplication);
    return fields.deeplink;
  });
  context_.log("-[QuarnelTracker handleOpenURL:sourceApplication:withAnnotation:]",
               "HandleOpenUrl: ", recorded);
  if (annotation) {
    context_.state.set(&TrackerFields::referralURL, entry(*annotation, "ReferrerURL"));
  }
}

void LinkRecording::continueUserActivity(const UserActivity& activity, bool hasRestorationHandler) {
  if (context_.log.isEnabled()) {
    context_.log("-[QuarnelTracker continueUserActivity:restorationHandler:]",
                 "User Activity: ", describeActivity(activity),
                 ", restoration Handler: ", hasRestorationHandler ? "<block>" : "(null)");
  }
  if (activity.activityType != NSUserActivityTypeBrowsingWeb) return;
  context_.state.set(&TrackerFields::deeplink, validUtf8(activity.webpageURL));
}

void LinkRecording::didUpdateUserActivity(const UserActivity& activity) {
  if (!context_.log.isEnabled()) return;
  context_.log("-[QuarnelTracker didUpdateUserActivity:]",
               "didUpdateUserActivity = ", describeActivity(activity));
}

void LinkRecording::handlePushNotification(const Dictionary& userInfo) {
  const std::optional<Value> payload = entry(userInfo, "qn");
  context_.state.set(&TrackerFields::pushPayload, payload);
  if (!context_.log.isEnabled()) return;
  context_.log("-[QuarnelTracker handlePushNotification:]",
               "Push Notification received qn payload = ",
               payload ? describe(*payload) : std::string("(null)"));
}

}  // namespace quarnel
