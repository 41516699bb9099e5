#include "Arguments.h"

#include <cmath>
#include <limits>

#include "BadInput.h"

namespace host {

using quarnel::Dictionary;
using quarnel::Value;

namespace {

constexpr std::chrono::seconds kDay = std::chrono::hours(24);

[[noreturn]] void refuse(std::string_view where, std::string_view expected) {
  throw BadInput(std::string(where) + " must be " + std::string(expected));
}

constexpr double kMaximumDateSeconds = 9e12;  // What a date of microseconds can hold.

// The content behind an accessor's pointer; absent for null.
template <typename T>
std::optional<T> optional(const Value& value, const T* content, std::string_view where,
                          std::string_view expected) {
  if (content) return *content;
  if (value.isNull()) return std::nullopt;
  refuse(where, expected);
}

}  // namespace

std::optional<std::string> optionalText(const Value& value, std::string_view where) {
  return optional(value, value.text(), where, "a text or null");
}

std::optional<Dictionary> optionalDictionary(const Value& value, std::string_view where) {
  return optional(value, value.dictionary(), where, "an object or null");
}

std::optional<Value::Array> optionalArray(const Value& value, std::string_view where) {
  return optional(value, value.array(), where, "an array or null");
}

std::optional<quarnel::Date> optionalDate(const Value& value, std::string_view where) {
  if (value.isNull()) return std::nullopt;
  return requiredDate(value, where);
}

std::string requiredText(const Value& value, std::string_view where) {
  if (const auto* text = value.text()) return *text;
  refuse(where, "a text");
}

Dictionary requiredDictionary(const Value& value, std::string_view where) {
  if (const auto* dictionary = value.dictionary()) return *dictionary;
  refuse(where, "an object");
}

quarnel::Bytes requiredBytes(const Value& value, std::string_view where) {
  if (const auto* bytes = value.bytes()) return *bytes;
  refuse(where, "bytes");
}

bool requiredBoolean(const Value& value, std::string_view where) {
  if (const auto* boolean = value.boolean()) return *boolean;
  refuse(where, "true or false");
}

double requiredNumber(const Value& value, std::string_view where) {
  if (const auto* integer = value.integer()) return static_cast<double>(*integer);
  if (const auto* number = value.number()) return *number;
  refuse(where, "a number");
}

quarnel::Date requiredDate(const Value& value, std::string_view where) {
  if (const auto* date = value.date()) return *date;
  const double seconds = requiredNumber(value, where);
  if (!(std::abs(seconds) < kMaximumDateSeconds)) refuse(where, "a date");
  return quarnel::Date(std::chrono::microseconds(std::llround(seconds * 1e6)));
}

std::int32_t requiredInteger(const Value& value, std::string_view where) {
  using Limits = std::numeric_limits<std::int32_t>;
  const auto* integer = value.integer();
  if (!integer || *integer < Limits::min() || *integer > Limits::max()) {
    refuse(where, "an integer of 32 bits");
  }
  return static_cast<std::int32_t>(*integer);
}

std::chrono::microseconds requiredDuration(const Value& value, std::string_view where) {
  const std::chrono::duration<double> duration(requiredNumber(value, where));
  if (!(duration.count() >= 0 && duration <= kDay)) refuse(where, "seconds, at most a day");
  return std::chrono::round<std::chrono::microseconds>(duration);
}

std::vector<std::string> textList(const Value& value, std::string_view where) {
  const auto* array = value.array();
  if (!array) refuse(where, "an array of texts");
  std::vector<std::string> texts;
  for (const Value& element : *array) texts.push_back(requiredText(element, where));
  return texts;
}

Value entry(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value ? *value : Value();
}

}  // namespace host
