// The tracker's operations in C.
#include <QuarnelTvOsLib/Notifications.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

#include "c/Handles.h"
#include "util/Json.h"

using namespace quarnel::c;  // NOLINT(google-build-using-namespace)
using quarnel::Dictionary;
using quarnel::QuarnelTracker;
using quarnel::Value;

namespace {

constexpr std::chrono::milliseconds kLongestDrain = std::chrono::hours(24);

quarnel::UserActivity userActivity(const char* type, const char* webpageURL) {
  return {requiredText(type, "activity_type"), optionalText(webpageURL)};
}

quarnel::ValidationSuccess successCallback(quarnel_on_purchase_valid callback, void* user) {
  if (callback == nullptr) return {};
  return
      [=](const Dictionary& answer) { callback(quarnel::writeTaggedJson(answer).c_str(), user); };
}

quarnel::ValidationFailure failureCallback(quarnel_on_purchase_invalid callback, void* user) {
  if (callback == nullptr) return {};
  return [=](const std::optional<quarnel::Error>& error, const std::optional<Value>& answer) {
    const std::string json = answer ? quarnel::writeTaggedJson(*answer) : std::string();
    callback(error ? handleOf(*error) : nullptr, answer ? json.c_str() : nullptr, user);
  };
}

}  // namespace

quarnel_status quarnel_configure_shared_tracker(const quarnel_environment* environment) {
  return guarded([&] {
    const auto& handedIn = required(environment, "environment").environment;
    if (QuarnelTracker::configureSharedTracker(handedIn)) return;
    throw Refusal(QUARNEL_TOO_LATE, "The shared tracker is made already.");
  });
}

quarnel_tracker* quarnel_shared_tracker() {
  return guardedResult<quarnel_tracker*>(nullptr,
                                         [] { return handleOf(QuarnelTracker::sharedTracker()); });
}

quarnel_status quarnel_tracker_track_app_launch(quarnel_tracker* tracker) {
  return guarded([&] { trackerOf(tracker).trackAppLaunch(); });
}

quarnel_status quarnel_tracker_track_event_with_value(quarnel_tracker* tracker,
                                                      const char* event_name, const char* value) {
  return guarded([&] {
    trackerOf(tracker).trackEventWithValue(optionalText(event_name), optionalText(value));
  });
}

quarnel_status quarnel_tracker_track_event_with_values(quarnel_tracker* tracker,
                                                       const char* event_name, const char* values) {
  return guarded([&] {
    trackerOf(tracker).trackEventWithValues(optionalText(event_name),
                                            optionalDictionary(values, "values"));
  });
}

quarnel_status quarnel_tracker_track_location(quarnel_tracker* tracker, double longitude,
                                              double latitude) {
  return guarded([&] { trackerOf(tracker).trackLocation(longitude, latitude); });
}

quarnel_status quarnel_tracker_handle_open_url(quarnel_tracker* tracker, const char* url,
                                               const char* source_application,
                                               const char* annotation) {
  return guarded([&] {
    trackerOf(tracker).handleOpenURL(optionalText(url), optionalText(source_application),
                                     optionalDictionary(annotation, "annotation"));
  });
}

quarnel_status quarnel_tracker_continue_user_activity(quarnel_tracker* tracker,
                                                      const char* activity_type,
                                                      const char* webpage_url,
                                                      void (*restoration_handler)(void)) {
  return guarded([&] {
    std::function<void()> handler;
    if (restoration_handler != nullptr) handler = restoration_handler;
    trackerOf(tracker).continueUserActivity(userActivity(activity_type, webpage_url), handler);
  });
}

quarnel_status quarnel_tracker_did_update_user_activity(quarnel_tracker* tracker,
                                                        const char* activity_type,
                                                        const char* webpage_url) {
  return guarded(
      [&] { trackerOf(tracker).didUpdateUserActivity(userActivity(activity_type, webpage_url)); });
}

quarnel_status quarnel_tracker_handle_push_notification(quarnel_tracker* tracker,
                                                        const char* user_info) {
  return guarded([&] {
    trackerOf(tracker).handlePushNotification(
        optionalDictionary(user_info, "user_info").value_or(Dictionary()));
  });
}

quarnel_status quarnel_tracker_validate_and_track_in_app_purchase(
    quarnel_tracker* tracker, const char* product_identifier, const char* price,
    const char* currency, const char* transaction_id, const char* additional_parameters,
    quarnel_on_purchase_valid success, quarnel_on_purchase_invalid failure, void* user) {
  return guarded([&] {
    trackerOf(tracker).validateAndTrackInAppPurchase(
        optionalText(product_identifier), optionalJson(price, "price").value_or(nullptr),
        optionalText(currency), optionalText(transaction_id),
        optionalDictionary(additional_parameters, "additional_parameters"),
        successCallback(success, user), failureCallback(failure, user));
    // The tracker has logged their absence; here it is told as well, as no callback will come.
    required(product_identifier, "product_identifier");
    required(transaction_id, "transaction_id");
  });
}

quarnel_status quarnel_tracker_register_uninstall(quarnel_tracker* tracker,
                                                  const uint8_t* device_token, size_t size) {
  return guarded([&] {
    if (size > 0) required(device_token, "device_token");
    trackerOf(tracker).registerUninstall(quarnel::Bytes(device_token, device_token + size));
  });
}

char* quarnel_tracker_get_quarnel_uid(quarnel_tracker* tracker) {
  return guardedResult<char*>(nullptr,
                              [&] { return ownedText(trackerOf(tracker).getQuarnelUID()); });
}

char* quarnel_tracker_diagnostics(const quarnel_tracker* tracker) {
  return guardedResult<char*>(nullptr, [&] {
    return ownedText(
        quarnel::writeTaggedJson(quarnel::toDictionary(trackerOf(tracker).diagnostics())));
  });
}

void quarnel_connection_ended(quarnel_connection* connection) {
  const std::unique_ptr<quarnel_connection> owned(connection);
  if (owned) guarded(owned->end);
}

quarnel_status quarnel_tracker_start_connection(quarnel_tracker* tracker,
                                                void (*start)(quarnel_connection* connection,
                                                              void* user),
                                                void* user) {
  return guarded([&] {
    required(start, "start");
    trackerOf(tracker).startConnection([&](std::function<void()> ended) {
      start(new quarnel_connection{std::move(ended)}, user);
    });
  });
}

quarnel_status quarnel_tracker_drain(quarnel_tracker* tracker, int64_t timeout_milliseconds) {
  return guarded([&] {
    const std::chrono::milliseconds timeout(
        std::clamp<std::int64_t>(timeout_milliseconds, 0, kLongestDrain.count()));
    if (trackerOf(tracker).drain(timeout)) return;
    throw Refusal(QUARNEL_TIMED_OUT, "The time was over before all was done.");
  });
}

quarnel_status quarnel_post_notification(const char* name, const char* user_info) {
  return guarded([&] {
    const auto userInfo = optionalDictionary(user_info, "user_info");
    quarnel::postNotification(requiredText(name, "name"), userInfo ? Value(*userInfo) : Value());
  });
}
