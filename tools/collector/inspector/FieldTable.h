// The fields that requests are made of: what each means and what it looks like.
#pragma once

#include <rapidjson/document.h>

#include <span>
#include <string_view>

#include "ReceivedRequest.h"

namespace collector {

enum class Form {
  kText,
  kFilledText,
  kDigits,
  kIdentifier,  // Milliseconds, a hyphen and a number.
  kServerVersion,
  kLibraryVersion,
  kCount,
  kCountText,
  kNumber,
  kOne,
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
  std::string_view name;  // One that ends in "=%@" is sent like that.
  Presence presence;
  Form form;
  std::string_view meaning;
};

// In the order in which they are sent. Empty for what could not be decoded.
std::span<const Field> fieldsOf(Kind kind);

// Null for an unknown one.
const Field* findField(Kind kind, std::string_view name);

bool hasForm(const rapidjson::Value& value, Form form);

// What a value of the form looks like, to follow "should be".
std::string_view describe(Form form);

}  // namespace collector
