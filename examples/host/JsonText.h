// The JSON lines that the host reads.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <string_view>

namespace host {

// Reads one JSON value in the library's form, and further
//   {"$text": "c328"}   a text by its bytes, for one that is not UTF-8
// Throws BadInput on what the library's fromJson refuses.
quarnel::Value readJson(std::string_view text);

}  // namespace host
