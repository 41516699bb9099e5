// What a decoded launch or event report says.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace quarnel::testing {

// A field as text: "event" is the event's name, "Launched" for a launch; docs/wire-format.md lists
// them all. Numbers, flags and containers are JSON text. Empty when the report has no such field.
std::string reportField(const Dictionary& report, std::string_view name);

// The values of an event that was reported with several; absent for other reports.
std::optional<Dictionary> eventValues(const Dictionary& report);

}  // namespace quarnel::testing
