// JSON text to and from Value.
#pragma once

#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// Compact JSON text: "/" unescaped, non-ASCII as UTF-8 (bytes that are not UTF-8 as U+FFFD),
// numbers as the shortest text that reads back the same, keys in the dictionary's order. On a value
// without a JSON form (date, bytes, non-finite number) returns nothing and says in `why` what was
// met. Depth is not limited; nothing recurses.
std::optional<std::string> writeJson(const Value& value, std::string* why = nullptr);
std::optional<std::string> writeJson(const Dictionary& dictionary, std::string* why = nullptr);

// For log lines: as writeJson, but values without a JSON form stand as their description.
std::string describe(const Value& value);

struct JsonReadResult {
  std::optional<Value> value;
  Error error;  // Set when there is no value.
};

// Reads one JSON value with nothing but white space around it. Nesting beyond 512 levels and
// malformed UTF-8 are errors.
JsonReadResult readJson(std::string_view text);

// As writeJson and readJson, with tags for values without a JSON form, see JsonTags.h.
std::string writeTaggedJson(const Value& value);
JsonReadResult readTaggedJson(std::string_view text);

// A single-precision number as the double whose shortest text is that of the single-precision one.
double shortestDouble(float number);

}  // namespace quarnel
