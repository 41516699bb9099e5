// The application's callbacks in C.
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "c/Handles.h"
#include "util/Json.h"

using namespace quarnel::c;  // NOLINT(google-build-using-namespace)
using quarnel::Dictionary;
using quarnel::QuarnelTrackerDelegate;

namespace {

// Every delegate ever made: trackers keep plain pointers to them.
void keep(std::unique_ptr<quarnel_delegate> delegate) {
  static auto& mutex = *new std::mutex;
  static auto& delegates = *new std::vector<std::unique_ptr<quarnel_delegate>>;
  const std::lock_guard lock(mutex);
  delegates.push_back(std::move(delegate));
}

QuarnelTrackerDelegate& changeable(quarnel_delegate* delegate) {
  if (!required(delegate, "delegate").isHandedIn) return delegate->callbacks;
  throw Refusal(QUARNEL_TOO_LATE, "The delegate is a tracker's already.");
}

QuarnelTrackerDelegate* handedIn(quarnel_delegate* delegate) {
  if (delegate == nullptr) return nullptr;
  delegate->isHandedIn = true;
  return &delegate->callbacks;
}

std::function<void(const Dictionary&)> dataCallback(quarnel_on_data callback, void* user) {
  if (callback == nullptr) return {};
  return [=](const Dictionary& data) { callback(quarnel::writeTaggedJson(data).c_str(), user); };
}

}  // namespace

quarnel_delegate* quarnel_delegate_create() {
  return guardedResult<quarnel_delegate*>(nullptr, [] {
    auto delegate = std::make_unique<quarnel_delegate>();
    auto* handle = delegate.get();
    keep(std::move(delegate));
    return handle;
  });
}

quarnel_status quarnel_delegate_set_on_conversion_data_received(quarnel_delegate* delegate,
                                                                quarnel_on_data callback,
                                                                void* user) {
  return guarded(
      [&] { changeable(delegate).onConversionDataReceived = dataCallback(callback, user); });
}

quarnel_status quarnel_delegate_set_on_conversion_data_request_failure(quarnel_delegate* delegate,
                                                                       quarnel_on_failure callback,
                                                                       void* user) {
  return guarded([&] {
    auto& failure = changeable(delegate).onConversionDataRequestFailure;
    failure = nullptr;
    if (callback == nullptr) return;
    failure = [=](const quarnel::Error& error) { callback(handleOf(error), user); };
  });
}

quarnel_status quarnel_delegate_set_on_app_open_attribution(quarnel_delegate* delegate,
                                                            quarnel_on_data callback, void* user) {
  return guarded([&] { changeable(delegate).onAppOpenAttribution = dataCallback(callback, user); });
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
