// The small types that the tracker's operations take and give.
#pragma once

#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace quarnel {

// The validation service confirmed the purchase; `answer` is its whole answer.
using ValidationSuccess = std::function<void(const Dictionary& answer)>;

// It did not. For a failed exchange, an answer that is no JSON, or a missing store receipt there is
// an error; when the answer itself says no, or does not know the transaction, there is only the
// answer.
using ValidationFailure =
    std::function<void(const std::optional<Error>& error, const std::optional<Value>& answer)>;

// How e-mail addresses leave the device. Any other value is treated as kSha1.
enum class EmailCryptType : std::int32_t { kNone = 0, kSha1 = 1, kMd5 = 2 };

// What the platform hands the application when another application or the web continues in it.
struct UserActivity {
  std::string activityType;               // Its kind, such as NSUserActivityTypeBrowsingWeb.
  std::optional<std::string> webpageURL;  // The page, for an activity of the web.
};

// The activity type of a page opened in the application instead of the browser.
inline constexpr const char* NSUserActivityTypeBrowsingWeb = "NSUserActivityTypeBrowsingWeb";

}  // namespace quarnel
