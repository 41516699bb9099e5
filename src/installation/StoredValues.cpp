#include "installation/StoredValues.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

std::int64_t truncated(double number) {
  constexpr double kLimit = 9223372036854774784.0;  // The largest double below 2^63.
  if (std::isnan(number)) return 0;
  return static_cast<std::int64_t>(std::fmin(std::fmax(number, -kLimit), kLimit));
}

std::int64_t toInteger(const Value& value) {
  if (const auto* integer = value.integer()) return *integer;
  if (const auto* number = value.number()) return truncated(*number);
  if (const auto* boolean = value.boolean()) return *boolean ? 1 : 0;
  if (const auto* text = value.text()) return integerValue(*text);
  return 0;
}

}  // namespace

std::optional<std::string> storedText(const UserDefaults& defaults, std::string_view key) {
  const std::optional<Value> value = defaults.get(key);
  if (!value) return std::nullopt;
  switch (value->type()) {
    case Value::Type::kText:
      return validUtf8(*value->text());
    case Value::Type::kInteger:
    case Value::Type::kDouble:
    case Value::Type::kBoolean:
      return describe(*value);
    default:
      return std::nullopt;
  }
}

std::int64_t storedInteger(const std::optional<Value>& stored) {
  return stored ? toInteger(*stored) : 0;
}

std::int64_t storedInteger(const UserDefaults& defaults, std::string_view key) {
  return storedInteger(defaults.get(key));
}

std::int32_t storedCounter(const std::optional<Value>& stored) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(storedInteger(stored), kLeast, kMost));
}

double storedDouble(const std::optional<Value>& stored) {
  const Value value = stored.value_or(Value());
  if (const auto* number = value.number()) return *number;
  if (const auto* text = value.text()) return decimalValue(*text);
  return static_cast<double>(toInteger(value));
}

double storedDouble(const UserDefaults& defaults, std::string_view key) {
  return storedDouble(defaults.get(key));
}

bool storedBoolean(const UserDefaults& defaults, std::string_view key) {
  const Value value = defaults.get(key).value_or(Value());
  if (const auto* text = value.text()) {
    return !text->empty() &&
           (std::string_view("YyTt123456789").find(text->front()) != std::string_view::npos ||
            integerValue(*text) != 0);
  }
  if (const auto* number = value.number()) return *number != 0;
  return toInteger(value) != 0;
}

void storeText(UserDefaults& defaults, std::string_view key,
               const std::optional<std::string>& text) {
  if (text) {
    defaults.set(key, *text);
  } else {
    defaults.remove(key);
  }
}

}  // namespace quarnel
