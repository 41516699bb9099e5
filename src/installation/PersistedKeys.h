// Every key that the library persists in the user defaults, with its type. Moments are seconds
// since 1970. The spellings are those that earlier installations are found by.
#pragma once

#include <string_view>

namespace quarnel::keys {

inline constexpr std::string_view kCounter = "QuarnelCounter";  // Integer: launch reports.
inline constexpr std::string_view kRealLaunchCounter =
    "QuarnelRealLaunchCounter";  // Integer: sessions.
inline constexpr std::string_view kInAppCounter =
    "QuarnelInAppCounter";  // Integer: in-app event reports.
inline constexpr std::string_view kPreviousReport =
    "QuarnelTimePassedSincePrevLaunch";  // Double: when the previous report was built.
inline constexpr std::string_view kInstallDate = "QuarnelInstallDate";  // Text: a formatted date.
inline constexpr std::string_view kFirstLaunchDate =
    "QuarnelFirstLaunchDate";  // Text: a formatted date, or empty.
inline constexpr std::string_view kLastVersion =
    "QuarnelLastVersion";                                        // Text: the application's version.
inline constexpr std::string_view kUpdateDate = "QuarnelDate3";  // Text: a formatted date.
inline constexpr std::string_view kInstallTimestamp =
    "QuarnelInstallTimestamp";  // Text: when the first report was built.
inline constexpr std::string_view kUserId =
    "QuarnelUserId";  // Text: the installation's identifier.
inline constexpr std::string_view kReinstallCounter = "QuarnelReInstallCounter";  // Integer.
inline constexpr std::string_view kOriginalUserId =
    "QuarnelOriginalUserId";  // Text: an earlier installation's identifier.
inline constexpr std::string_view kDeviceToken =
    "QuarnelDeviceToken";  // Text: the push token's description.
inline constexpr std::string_view kConversionData = "QuarnelConversiondataKey";  // Dictionary.
inline constexpr std::string_view kConversionFreshSince =
    "QuarnelConversionDataCacheExpiration";  // Double: 0 when no clock runs.
inline constexpr std::string_view kConversionRetries =
    "QuarnelConversionDataRequestRetries";  // Integer: refused requests.
inline constexpr std::string_view kConversionTiming =
    "QuarnelGetConversionDataTiming";                                           // Double: seconds.
inline constexpr std::string_view kAdAttribution = "QuarneliAdAttributionKey";  // Boolean.
inline constexpr std::string_view kAdPurchaseDate =
    "QuarneliAdPurchaseDate";  // Text: a formatted date.
inline constexpr std::string_view kAdImpressionDate =
    "QuarneliAdImpressionDate";  // Text: a formatted date.

}  // namespace quarnel::keys
