// JSON text of foreign origin, and the building of JSON lines.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace collector {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

inline std::string_view view(const rapidjson::StringBuffer& buffer) {
  return {buffer.GetString(), buffer.GetSize()};
}

inline void writeText(JsonWriter& writer, std::string_view text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

// The same JSON object on one line, its numbers written as they stand. Nothing, and the reason in
// `error`, for text that is no JSON object, is not UTF-8 or nests deeper than 512 levels.
std::optional<std::string> compactObject(std::string_view text, std::string& error);

// The fields of an object that compactObject returned.
class JsonFields {
 public:
  explicit JsonFields(std::string_view object);

  // A string's content or a number as it stood, any other value's JSON text (in which numbers are
  // quoted); empty when there is no such field.
  std::string text(const char* name) const;

  // The texts of an array; absent when there is no array of that name.
  std::optional<std::vector<std::string>> texts(const char* name) const;

 private:
  rapidjson::Document document_;
};

// A member of an object, its value as it stood.
struct JsonMember {
  enum class Type { kNull, kBoolean, kNumber, kText, kArray, kObject };

  std::string name;
  Type type = Type::kNull;
  std::string json;  // The value.
  std::string text;  // Its content, when it is a text.
};

// The members of an object that compactObject returned, in its order.
std::vector<JsonMember> membersOf(std::string_view object);

}  // namespace collector
