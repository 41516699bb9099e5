// What a report sends, made of its facts alone: pure functions.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>

#include "compose/Report.h"

namespace quarnel {

// The body as JSON, its fields in the order in which servers have always got them.
std::string composeBody(const ReportFacts& facts);

// Several event values as JSON, escaped for a URL, the commas too. Empty when they have no JSON
// form.
std::string eventValueOf(const std::optional<Dictionary>& values);

}  // namespace quarnel
