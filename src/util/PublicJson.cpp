#include <QuarnelTvOsLib/Json.h>

#include <utility>

#include "util/Json.h"

namespace quarnel {

std::string toJson(const Value& value) { return writeTaggedJson(value); }

std::optional<Value> fromJson(std::string_view json, std::string* why) {
  JsonReadResult read = readTaggedJson(json);
  if (!read.value && why != nullptr) *why = std::move(read.error.description);
  return std::move(read.value);
}

}  // namespace quarnel
