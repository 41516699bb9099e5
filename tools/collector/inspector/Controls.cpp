#include "inspector/Controls.h"

#include <rapidjson/document.h>

#include <algorithm>

#include "JsonText.h"

namespace collector {
namespace {

constexpr std::chrono::milliseconds kLongestDelay = std::chrono::minutes(2);

std::size_t indexOf(Kind endpoint) { return static_cast<std::size_t>(endpoint); }

bool fail(std::string& error, std::string text) {
  error = std::move(text);
  return false;
}

bool readFault(const rapidjson::Value& value, Fault& fault) {
  if (!value.IsObject()) return false;
  for (const auto& member : value.GetObject()) {
    const std::string_view name(member.name.GetString(), member.name.GetStringLength());
    const auto& setting = member.value;
    if (name == "status" && setting.IsNull()) {
      fault.status.reset();
    } else if (name == "status" && setting.IsInt() && setting.GetInt() >= 200 &&
               setting.GetInt() <= 599) {
      fault.status = setting.GetInt();
    } else if (name == "delayMs" && setting.IsInt() && setting.GetInt() >= 0 &&
               setting.GetInt() <= kLongestDelay.count()) {
      fault.delay = std::chrono::milliseconds(setting.GetInt());
    } else if (name == "drop" && setting.IsBool()) {
      fault.drop = setting.GetBool();
    } else {
      return false;
    }
  }
  return true;
}

bool readText(const rapidjson::Value& value, std::optional<std::string>& text, std::string& error) {
  if (value.IsNull()) {
    text.reset();
    return true;
  }
  if (!value.IsString()) return fail(error, "must be a text or null");
  text = compactObject({value.GetString(), value.GetStringLength()}, error);
  return text.has_value();
}

void writeFault(JsonWriter& writer, const Fault& fault) {
  writer.StartObject();
  writer.Key("status");
  fault.status ? writer.Int(*fault.status) : writer.Null();
  writer.Key("delayMs");
  writer.Int64(fault.delay.count());
  writer.Key("drop");
  writer.Bool(fault.drop);
  writer.EndObject();
}

void writeOptional(JsonWriter& writer, const char* name, const std::optional<std::string>& text) {
  writer.Key(name);
  text ? writeText(writer, *text), true : writer.Null();
}

}  // namespace

void Controls::apply(Kind endpoint, Answer& answer) const {
  const std::lock_guard lock(mutex_);
  const Fault& fault = settings_.faults[indexOf(endpoint)];
  answer.status = fault.status.value_or(answer.status);
  // HTTP knows no content for these.
  if (answer.status == 204 || answer.status == 304) answer.json.clear();
  answer.delay = fault.delay;
  answer.drop = fault.drop;
}

std::optional<std::string> Controls::conversion() const {
  const std::lock_guard lock(mutex_);
  return settings_.conversion;
}

std::optional<std::string> Controls::receipts() const {
  const std::lock_guard lock(mutex_);
  return settings_.receipts;
}

std::string Controls::json() const {
  const std::lock_guard lock(mutex_);
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writer.Key("faults");
  writer.StartObject();
  for (std::size_t i = 0; i < kEndpoints; ++i) {
    writer.Key(nameOf(static_cast<Kind>(i)));
    writeFault(writer, settings_.faults[i]);
  }
  writer.EndObject();
  writeOptional(writer, "conversion", settings_.conversion);
  writeOptional(writer, "receipts", settings_.receipts);
  writer.EndObject();
  return std::string(view(buffer));
}

bool Controls::set(std::string_view json, std::string& error) {
  Settings settings;
  if (!read(json, settings, error)) return false;
  const std::lock_guard lock(mutex_);
  settings_ = std::move(settings);
  return true;
}

bool Controls::read(std::string_view json, Settings& settings, std::string& error) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(
      json.data(), json.size());
  if (!document.IsObject()) return fail(error, "the controls must be a JSON object");
  for (const auto& member : document.GetObject()) {
    const std::string name(member.name.GetString(), member.name.GetStringLength());
    if (name == "conversion" || name == "receipts") {
      auto& text = name == "conversion" ? settings.conversion : settings.receipts;
      if (!readText(member.value, text, error)) return fail(error, name + ": " + error);
    } else if (name != "faults" || !member.value.IsObject()) {
      return fail(error, "unknown control " + name);
    } else {
      for (const auto& fault : member.value.GetObject()) {
        const std::string endpoint(fault.name.GetString(), fault.name.GetStringLength());
        const Kind kind = kindOf(endpoint);
        if (kind == Kind::kUndecodable) return fail(error, "unknown endpoint " + endpoint);
        if (!readFault(fault.value, settings.faults[indexOf(kind)])) {
          return fail(error, "the fault of " + endpoint +
                                 " needs a status from 200 to 599 or null, a delayMs up to 120000 "
                                 "and a drop that is true or false");
        }
      }
    }
  }
  return true;
}

}  // namespace collector
