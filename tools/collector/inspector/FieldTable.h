// The fields that requests are made of: what each means and what it looks like.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "JsonText.h"
#include "ReceivedRequest.h"

namespace collector {

enum class Form {
  kText,
  kFilledText,
  kConstant,
  kDigits,
  kIdentifier,  // Milliseconds, a hyphen and a number.
  kCurrency,
  kCount,
  kNumber,
  kNumberText,
  kTrue,
  kBoolean,
  kTrueOrFalse,  // As text.
  kDate,         // Or empty.
  kTimestamp,
  kJsonText,
  kObject,
  kHexadecimal,
  kBase64,
};

enum class Presence { kAlways, kSometimes };

struct Field {
  std::string_view name;
  Presence presence;
  Form form;
  std::string_view meaning;
  std::string_view constant = {};  // The one value, of a constant.
};

// In the order in which they are sent. Empty for what could not be decoded.
std::span<const Field> fieldsOf(Kind kind);

// Null for an unknown one.
const Field* findField(Kind kind, std::string_view name);

bool hasForm(const Field& field, const JsonMember& value);

// What a value of the field looks like, to follow "should be".
std::string expectationOf(const Field& field);

}  // namespace collector
