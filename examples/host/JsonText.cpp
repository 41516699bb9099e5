#include "JsonText.h"

#include <QuarnelTvOsLib/Json.h>

#include <string>

#include "BadInput.h"

namespace host {
namespace {

using quarnel::Dictionary;
using quarnel::Value;

// The text that an object stands for, if it is one with "$text".
std::optional<std::string> textByBytes(const Dictionary& object) {
  const std::string* digits = object.size() == 1 ? object.text("$text") : nullptr;
  if (digits == nullptr) return std::nullopt;
  const auto bytes = quarnel::fromJson(R"({"$data":")" + *digits + "\"}");
  if (!bytes || bytes->bytes() == nullptr) throw BadInput("$text takes hexadecimal digits");
  return std::string(bytes->bytes()->begin(), bytes->bytes()->end());
}

// As deep as the reader allows, which is 512 levels.
void resolve(Value& value) {
  if (auto* array = value.mutableArray()) {
    for (Value& element : *array) resolve(element);
  } else if (auto* object = value.mutableDictionary()) {
    if (auto text = textByBytes(*object)) {
      value = *std::move(text);
      return;
    }
    for (auto& [key, member] : object->entries()) resolve(member);
  }
}

}  // namespace

Value readJson(std::string_view text) {
  std::string why;
  auto value = quarnel::fromJson(text, &why);
  if (!value) throw BadInput(why);
  resolve(*value);
  return *std::move(value);
}

}  // namespace host
