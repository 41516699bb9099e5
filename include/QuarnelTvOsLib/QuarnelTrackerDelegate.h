// What the tracker tells the application.
#pragma once

#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/Value.h>

#include <functional>

namespace quarnel {

// The application's callbacks. An empty function is an operation that the delegate does not respond
// to; it is tested afresh before every call.
//
// The tracker shares the ownership, and so does a call in progress: after setDelegate(nullptr) the
// delegate is gone once the last call has returned. Don't change it while a tracker has it. A
// callback may call the tracker again and may replace the delegate. An exception that leaves a
// callback is caught and logged.
struct QuarnelTrackerDelegate {
  // The installation's conversion data. Arrives on the main queue when it is served from the stored
  // copy, on the HTTP session's callback queue when it has just been fetched.
  std::function<void(const Dictionary& conversionData)> onConversionDataReceived;

  // Conversion data could not be fetched. Arrives on the main queue for a transport error, on the
  // HTTP session's callback queue for every failure that follows a response.
  std::function<void(const Error& error)> onConversionDataRequestFailure;

  // The application was opened from a link: its query parameters, or one entry "link". Arrives on
  // the main queue, after the launch report that carries the link has been built.
  std::function<void(const Dictionary& attributionData)> onAppOpenAttribution;

  // For delegates that stand for an object that may go away: whether it is still there. Asked
  // before each call, on any thread; without the object the delegate responds to nothing. Default:
  // it is.
  std::function<bool()> isPresent{};
};

}  // namespace quarnel
