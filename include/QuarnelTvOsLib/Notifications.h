// The application's lifecycle, as the tracker learns of it.
#pragma once

#include <QuarnelTvOsLib/Export.h>
#include <QuarnelTvOsLib/Value.h>

#include <string_view>

namespace quarnel {

// Posted once, when the application has started. May carry the two launch options below.
inline constexpr std::string_view UIApplicationDidFinishLaunchingNotification =
    "UIApplicationDidFinishLaunchingNotification";
// Posted when the user leaves the application.
inline constexpr std::string_view UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";
// Posted when the application is no longer visible.
inline constexpr std::string_view UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";

// Keys of the launch notification's user information; both values are text.
inline constexpr std::string_view UIApplicationLaunchOptionsURLKey =
    "UIApplicationLaunchOptionsURLKey";
inline constexpr std::string_view UIApplicationLaunchOptionsSourceApplicationKey =
    "UIApplicationLaunchOptionsSourceApplicationKey";

// Posts a notification to the default notification centre of this process. The shared tracker's
// handlers run on the calling thread before it returns; they touch neither disk nor network. A
// notification posted before the first QuarnelTracker::sharedTracker() reaches nobody.
// `userInfo` is a dictionary, or null for none.
QUARNEL_EXPORT void postNotification(std::string_view name, const Value& userInfo = nullptr);

}  // namespace quarnel
