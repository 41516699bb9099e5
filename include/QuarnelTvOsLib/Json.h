// Values as JSON text.
#pragma once

#include <QuarnelTvOsLib/Export.h>
#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// Writes a value as compact JSON: numbers as the shortest text that reads back the same, keys in
// the order of the dictionary, bytes that are not UTF-8 as U+FFFD. What JSON has no form for is
// written as an object with one entry:
//   {"$date": 1457186820.5}   a date, in seconds since 1970
//   {"$data": "01abcdef"}     bytes, in hexadecimal digits
//   {"$double": "nan"}        a number that is not finite; also "inf" and "-inf"
// Any depth. Thread-safe.
QUARNEL_EXPORT std::string toJson(const Value& value);

// Reads one JSON value in the same form, with white space around it at most. Absent for text that
// is not JSON or not UTF-8, a number beyond the range of doubles, and nesting beyond 512 levels;
// `why`, unless it is null, then receives an English sentence with the place. Thread-safe.
QUARNEL_EXPORT std::optional<Value> fromJson(std::string_view json, std::string* why = nullptr);

}  // namespace quarnel
