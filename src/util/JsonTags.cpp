#include "util/JsonTags.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "util/DateText.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr const char* kDate = "$date";
constexpr const char* kBytes = "$data";
constexpr const char* kDouble = "$double";

std::optional<Value> dateValue(const Value& content) {
  const auto* integer = content.integer();
  const auto* number = content.number();
  if (integer == nullptr && number == nullptr) return std::nullopt;
  const auto date = dateSince1970(integer != nullptr ? static_cast<double>(*integer) : *number);
  return date ? std::optional<Value>(*date) : std::nullopt;
}

std::optional<Value> bytesValue(const Value& content) {
  const std::string* hex = content.text();
  if (hex == nullptr || hex->size() % 2 != 0) return std::nullopt;
  Bytes bytes(hex->size() / 2);
  const char* digits = hex->data();
  for (std::uint8_t& byte : bytes) {
    if (std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) return std::nullopt;
    digits += 2;
  }
  return bytes;
}

std::optional<Value> doubleValue(const Value& content) {
  using Limits = std::numeric_limits<double>;
  if (content == Value("nan")) return Limits::quiet_NaN();
  if (content == Value("inf")) return Limits::infinity();
  if (content == Value("-inf")) return -Limits::infinity();
  return std::nullopt;
}

}  // namespace

Dictionary::Entry tagOf(const Value& value) {
  if (const Date* date = value.date()) return {kDate, secondsSince1970(*date)};
  if (const Bytes* bytes = value.bytes())
    return {kBytes, hexadecimal(bytes->data(), bytes->size())};
  const double number = *value.number();
  return {kDouble, std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf"};
}

std::optional<Value> meaningOf(Dictionary object, std::string& why) {
  if (object.size() != 1) return object;
  const auto& [key, content] = *object.begin();
  std::optional<Value> meaning;
  if (key == kDate) {
    why = "$date takes seconds since 1970.";
    meaning = dateValue(content);
  } else if (key == kBytes) {
    why = "$data takes a text of hexadecimal digits, two for a byte.";
    meaning = bytesValue(content);
  } else if (key == kDouble) {
    why = "$double takes \"nan\", \"inf\" or \"-inf\".";
    meaning = doubleValue(content);
  } else {
    return object;
  }
  return meaning;
}

}  // namespace quarnel
