// What the handles of the C face stand for.
#pragma once

#include <QuarnelTvOsLib/AdClient.h>
#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/QuarnelTrackerDelegate.h>
#include <QuarnelTvOsLib/quarnel.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

#include "c/Boundary.h"

// What a tracker and a running call share with the handle. The last of them ends it.
struct quarnel_delegate_content {
  quarnel_delegate_content() = default;
  quarnel_delegate_content(const quarnel_delegate_content&) = delete;
  quarnel_delegate_content& operator=(const quarnel_delegate_content&) = delete;
  ~quarnel_delegate_content() {
    if (destroy != nullptr) destroy(user);
  }

  quarnel::QuarnelTrackerDelegate callbacks;
  void (*destroy)(void* user) = nullptr;
  void* user = nullptr;
};

struct quarnel_delegate {
  std::shared_ptr<quarnel_delegate_content> content;
  std::atomic<bool> isHandedIn{false};  // From then on the tracker may read the callbacks.
};

struct quarnel_environment {
  quarnel::HostEnvironment environment;
};

struct quarnel_task {
  std::function<void()> run;
};

struct quarnel_connection {
  std::function<void()> end;
};

struct quarnel_advertising_identity {
  std::optional<quarnel::AdvertisingIdentity> identity;
};

struct quarnel_ad_client {
  quarnel::AdClient client;
};

struct quarnel_ad_question {
  std::variant<quarnel::AdClient::DetailsCallback, quarnel::AdClient::DatesCallback,
               quarnel::AdClient::AttributedCallback>
      answer;
};

namespace quarnel::c {

// Handles of trackers and errors are the objects themselves.
inline quarnel_tracker* handleOf(QuarnelTracker& tracker) {
  return reinterpret_cast<quarnel_tracker*>(&tracker);
}
inline QuarnelTracker& trackerOf(quarnel_tracker* handle) {
  return reinterpret_cast<QuarnelTracker&>(required(handle, "tracker"));
}
inline const QuarnelTracker& trackerOf(const quarnel_tracker* handle) {
  return reinterpret_cast<const QuarnelTracker&>(required(handle, "tracker"));
}
inline const quarnel_error* handleOf(const Error& error) {
  return reinterpret_cast<const quarnel_error*>(&error);
}
inline const Error& errorOf(const quarnel_error& handle) {
  return reinterpret_cast<const Error&>(handle);
}

}  // namespace quarnel::c
