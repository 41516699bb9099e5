// How JSON text carries values that have no JSON form: as an object with one entry.
//   {"$date": 1457186820.5}   a date, in seconds since 1970
//   {"$data": "01abcdef"}     bytes, in hexadecimal digits
//   {"$double": "nan"}        a number that is not finite; also "inf" and "-inf"
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>

namespace quarnel {

// The object's one entry for a date, bytes or a number that is not finite.
Dictionary::Entry tagOf(const Value& value);

// What the object stands for: itself, unless its one entry is a tag. Absent for a tag with content
// that it cannot have; `why` then tells what it takes.
std::optional<Value> meaningOf(Dictionary object, std::string& why);

}  // namespace quarnel
