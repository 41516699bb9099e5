#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/ServiceConfiguration.h"

namespace quarnel {

// The URL of a report: launches and in-app events differ only in the host. Nothing is escaped here;
// an absent app ID stands as "(null)".
std::string createURLFor(const ServiceConfiguration& services, std::string_view suffix,
                         const std::optional<std::string>& appID, bool isInAppEvent);

}  // namespace quarnel
