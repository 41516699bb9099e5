// Typed access to what a script hands in.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// Each reads a value of one type; null is an absent one. They throw BadInput, which says what was
// expected where, when the value has another type.
std::optional<std::string> optionalText(const quarnel::Value& value, std::string_view where);
std::optional<quarnel::Dictionary> optionalDictionary(const quarnel::Value& value,
                                                      std::string_view where);
std::optional<quarnel::Value::Array> optionalArray(const quarnel::Value& value,
                                                   std::string_view where);
std::optional<quarnel::Date> optionalDate(const quarnel::Value& value, std::string_view where);

// The same for values that must be there.
std::string requiredText(const quarnel::Value& value, std::string_view where);
quarnel::Dictionary requiredDictionary(const quarnel::Value& value, std::string_view where);
quarnel::Bytes requiredBytes(const quarnel::Value& value, std::string_view where);
bool requiredBoolean(const quarnel::Value& value, std::string_view where);
double requiredNumber(const quarnel::Value& value, std::string_view where);
std::int32_t requiredInteger(const quarnel::Value& value, std::string_view where);
// A date, or a number of seconds since 1970.
quarnel::Date requiredDate(const quarnel::Value& value, std::string_view where);
// A number of seconds, at most a day.
std::chrono::microseconds requiredDuration(const quarnel::Value& value, std::string_view where);

std::vector<std::string> textList(const quarnel::Value& value, std::string_view where);

// The value under a key of a dictionary, null when there is none.
quarnel::Value entry(const quarnel::Dictionary& dictionary, std::string_view key);

}  // namespace host
