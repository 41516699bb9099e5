#include "JsonText.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <utility>

namespace collector {
namespace {

// Nothing in a text can drive recursion, and numbers keep their text.
constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag |
                                 rapidjson::kParseValidateEncodingFlag |
                                 rapidjson::kParseNumbersAsStringsFlag;
constexpr int kMaximalDepth = 512;

// Hands every token on to a writer, as long as the nesting is bounded and the root is an object.
class CompactingHandler {
 public:
  using Size = rapidjson::SizeType;

  explicit CompactingHandler(JsonWriter& writer) : writer_(writer) {}

  const char* objection() const { return objection_; }

  bool Null() { return inside() && writer_.Null(); }
  bool Bool(bool value) { return inside() && writer_.Bool(value); }
  bool Int(int value) { return inside() && writer_.Int(value); }
  bool Uint(unsigned value) { return inside() && writer_.Uint(value); }
  bool Int64(std::int64_t value) { return inside() && writer_.Int64(value); }
  bool Uint64(std::uint64_t value) { return inside() && writer_.Uint64(value); }
  bool Double(double value) { return inside() && writer_.Double(value); }
  bool RawNumber(const char* text, Size length, bool) {
    return inside() && writer_.RawValue(text, length, rapidjson::kNumberType);
  }
  bool String(const char* text, Size length, bool) {
    return inside() && writer_.String(text, length);
  }
  bool Key(const char* text, Size length, bool) { return writer_.Key(text, length); }
  bool StartObject() { return enter() && writer_.StartObject(); }
  bool EndObject(Size count) { return leave() && writer_.EndObject(count); }
  bool StartArray() { return inside() && enter() && writer_.StartArray(); }
  bool EndArray(Size count) { return leave() && writer_.EndArray(count); }

 private:
  bool inside() {
    if (depth_ == 0) objection_ = "not an object";
    return depth_ > 0;
  }
  bool enter() {
    if (depth_ == kMaximalDepth) {
      objection_ = "nested deeper than 512 levels";
      return false;
    }
    ++depth_;
    return true;
  }
  bool leave() {
    --depth_;
    return true;
  }

  JsonWriter& writer_;
  int depth_ = 0;
  const char* objection_ = nullptr;
};

// Gathers the members of the root.
class MemberHandler {
 public:
  using Size = rapidjson::SizeType;
  using Type = JsonMember::Type;

  std::vector<JsonMember> take() { return std::move(members_); }

  bool Null() { return writer_.Null() && end(Type::kNull); }
  bool Bool(bool value) { return writer_.Bool(value) && end(Type::kBoolean); }
  bool Int(int value) { return writer_.Int(value) && end(Type::kNumber); }
  bool Uint(unsigned value) { return writer_.Uint(value) && end(Type::kNumber); }
  bool Int64(std::int64_t value) { return writer_.Int64(value) && end(Type::kNumber); }
  bool Uint64(std::uint64_t value) { return writer_.Uint64(value) && end(Type::kNumber); }
  bool Double(double value) { return writer_.Double(value) && end(Type::kNumber); }
  bool RawNumber(const char* text, Size length, bool) {
    return writer_.RawValue(text, length, rapidjson::kNumberType) && end(Type::kNumber);
  }
  bool String(const char* text, Size length, bool) {
    if (depth_ == 1) members_.back().text.assign(text, length);
    return writer_.String(text, length) && end(Type::kText);
  }
  bool Key(const char* text, Size length, bool) {
    if (depth_ > 1) return writer_.Key(text, length);
    members_.emplace_back().name.assign(text, length);
    buffer_.Clear();
    writer_.Reset(buffer_);
    return true;
  }
  bool StartObject() { return depth_++ == 0 || writer_.StartObject(); }
  bool EndObject(Size count) {
    return --depth_ == 0 || (writer_.EndObject(count) && end(Type::kObject));
  }
  bool StartArray() { return depth_++ > 0 && writer_.StartArray(); }
  bool EndArray(Size count) {
    --depth_;
    return writer_.EndArray(count) && end(Type::kArray);
  }

 private:
  bool end(Type type) {
    if (depth_ != 1) return depth_ > 0;
    members_.back().type = type;
    members_.back().json = view(buffer_);
    return true;
  }

  rapidjson::StringBuffer buffer_;
  JsonWriter writer_{buffer_};
  int depth_ = 0;
  std::vector<JsonMember> members_;
};

}  // namespace

std::optional<std::string> compactObject(std::string_view text, std::string& error) {
  // The reader takes a zero byte for the end of the text.
  if (const auto zero = text.find('\0'); zero != std::string_view::npos) {
    error = "the JSON text has a zero byte at offset " + std::to_string(zero);
    return std::nullopt;
  }
  rapidjson::StringBuffer compact;
  JsonWriter writer(compact);
  CompactingHandler handler(writer);
  rapidjson::Reader reader;
  rapidjson::MemoryStream stream(text.data(), text.size());
  const rapidjson::ParseResult result = reader.Parse<kParseFlags>(stream, handler);
  if (result) return std::string(view(compact));
  error = handler.objection()
              ? "the JSON value is " + std::string(handler.objection())
              : "the JSON text is malformed at offset " + std::to_string(result.Offset()) + ": " +
                    rapidjson::GetParseError_En(result.Code());
  return std::nullopt;
}

JsonFields::JsonFields(std::string_view object) {
  document_.Parse<kParseFlags>(object.data(), object.size());
}

std::string JsonFields::text(const char* name) const {
  if (!document_.IsObject()) return {};
  const auto member = document_.FindMember(name);
  if (member == document_.MemberEnd()) return {};
  const auto& value = member->value;
  if (value.IsString()) return {value.GetString(), value.GetStringLength()};
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  value.Accept(writer);
  return std::string(view(buffer));
}

std::optional<std::vector<std::string>> JsonFields::texts(const char* name) const {
  if (!document_.IsObject()) return std::nullopt;
  const auto member = document_.FindMember(name);
  if (member == document_.MemberEnd() || !member->value.IsArray()) return std::nullopt;
  std::vector<std::string> result;
  for (const auto& value : member->value.GetArray()) {
    if (value.IsString()) result.emplace_back(value.GetString(), value.GetStringLength());
  }
  return result;
}

std::vector<JsonMember> membersOf(std::string_view object) {
  MemberHandler handler;
  rapidjson::Reader reader;
  rapidjson::MemoryStream stream(object.data(), object.size());
  reader.Parse<kParseFlags>(stream, handler);
  return handler.take();
}

}  // namespace collector
