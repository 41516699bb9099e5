// JSON text to and from the values that the library takes and gives.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <string>
#include <string_view>

namespace host {

// Reads one JSON value. What JSON cannot say is written as an object with one entry:
//   {"$date": 1457186820.5}   a date, in seconds since 1970
//   {"$data": "01abcdef"}     bytes
//   {"$double": "nan"}        a non-finite number; also "inf" and "-inf"
//   {"$text": "c328"}         a text by its bytes, for one that is not UTF-8
// Throws BadInput on malformed JSON or UTF-8, on numbers beyond the range of doubles and on nesting
// beyond 512 levels.
quarnel::Value readJson(std::string_view text);

// Writes a value as one line in the same form. Text that is not UTF-8 is repaired with U+FFFD.
std::string writeJson(const quarnel::Value& value);

}  // namespace host
