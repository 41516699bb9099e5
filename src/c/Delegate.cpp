// The application's callbacks in C.
#include <memory>
#include <utility>

#include "c/Handles.h"
#include "util/Json.h"

using namespace quarnel::c;  // NOLINT(google-build-using-namespace)
using quarnel::Dictionary;
using quarnel::QuarnelTrackerDelegate;

namespace {

quarnel_delegate_content& changeable(quarnel_delegate* delegate) {
  if (!required(delegate, "delegate").isHandedIn) return *delegate->content;
  throw Refusal(QUARNEL_TOO_LATE, "The delegate is a tracker's already.");
}

std::shared_ptr<QuarnelTrackerDelegate> handedIn(quarnel_delegate* delegate) {
  if (delegate == nullptr) return nullptr;
  delegate->isHandedIn = true;
  return {delegate->content, &delegate->content->callbacks};
}

std::function<void(const Dictionary&)> dataCallback(quarnel_on_data callback, void* user) {
  if (callback == nullptr) return {};
  return [=](const Dictionary& data) { callback(quarnel::writeTaggedJson(data).c_str(), user); };
}

}  // namespace

quarnel_delegate* quarnel_delegate_create() {
  return guardedResult<quarnel_delegate*>(nullptr, [] {
    auto delegate = std::make_unique<quarnel_delegate>();
    delegate->content = std::make_shared<quarnel_delegate_content>();
    return delegate.release();
  });
}

void quarnel_delegate_release(quarnel_delegate* delegate) { delete delegate; }

quarnel_status quarnel_delegate_set_destructor(quarnel_delegate* delegate,
                                               void (*destroy)(void* user), void* user) {
  return guarded([&] {
    quarnel_delegate_content& content = changeable(delegate);
    content.destroy = destroy;
    content.user = user;
  });
}

quarnel_status quarnel_delegate_set_on_conversion_data_received(quarnel_delegate* delegate,
                                                                quarnel_on_data callback,
                                                                void* user) {
  return guarded([&] {
    changeable(delegate).callbacks.onConversionDataReceived = dataCallback(callback, user);
  });
}

quarnel_status quarnel_delegate_set_on_conversion_data_request_failure(quarnel_delegate* delegate,
                                                                       quarnel_on_failure callback,
                                                                       void* user) {
  return guarded([&] {
    auto& failure = changeable(delegate).callbacks.onConversionDataRequestFailure;
    failure = nullptr;
    if (callback == nullptr) return;
    failure = [=](const quarnel::Error& error) { callback(handleOf(error), user); };
  });
}

quarnel_status quarnel_delegate_set_on_app_open_attribution(quarnel_delegate* delegate,
                                                            quarnel_on_data callback, void* user) {
  return guarded(
      [&] { changeable(delegate).callbacks.onAppOpenAttribution = dataCallback(callback, user); });
}

quarnel_status quarnel_tracker_set_delegate(quarnel_tracker* tracker, quarnel_delegate* delegate) {
  return guarded([&] { trackerOf(tracker).setDelegate(handedIn(delegate)); });
}

quarnel_status quarnel_tracker_load_conversion_data_with_delegate(quarnel_tracker* tracker,
                                                                  quarnel_delegate* delegate) {
  return guarded([&] { trackerOf(tracker).loadConversionDataWithDelegate(handedIn(delegate)); });
}

quarnel_status quarnel_tracker_on_conversion_data_received(quarnel_tracker* tracker,
                                                           const char* data) {
  return guarded([&] {
    trackerOf(tracker).onConversionDataReceived(
        optionalDictionary(data, "data").value_or(Dictionary()));
  });
}

quarnel_status quarnel_tracker_on_conversion_data_request_failure(quarnel_tracker* tracker,
                                                                  const char* description) {
  return guarded([&] {
    trackerOf(tracker).onConversionDataRequestFailure(
        {{}, 0, optionalText(description).value_or(std::string())});
  });
}
