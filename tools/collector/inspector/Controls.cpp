#include "inspector/Controls.h"

#include <charconv>
#include <system_error>
#include <utility>

namespace collector {
namespace {

using Type = JsonMember::Type;

constexpr int kLongestDelayMs = 120'000;

std::size_t indexOf(Kind endpoint) { return static_cast<std::size_t>(endpoint); }

bool fail(std::string& error, std::string text) {
  error = std::move(text);
  return false;
}

bool readNumber(const JsonMember& value, int least, int most, int& number) {
  const char* const end = value.json.data() + value.json.size();
  const auto [rest, failure] = std::from_chars(value.json.data(), end, number);
  return failure == std::errc() && rest == end && number >= least && number <= most;
}

bool readFault(const JsonMember& value, Fault& fault) {
  if (value.type != Type::kObject) return false;
  for (const JsonMember& setting : membersOf(value.json)) {
    int number = 0;
    if (setting.name == "status" && setting.type == Type::kNull) {
      fault.status.reset();
    } else if (setting.name == "status" && readNumber(setting, 200, 599, number)) {
      fault.status = number;
    } else if (setting.name == "delayMs" && readNumber(setting, 0, kLongestDelayMs, number)) {
      fault.delay = std::chrono::milliseconds(number);
    } else if (setting.name == "drop" && setting.type == Type::kBoolean) {
      fault.drop = setting.json == "true";
    } else {
      return false;
    }
  }
  return true;
}

bool readText(const JsonMember& value, std::optional<std::string>& text, std::string& error) {
  if (value.type == Type::kNull) {
    text.reset();
    return true;
  }
  if (value.type != Type::kText) return fail(error, "must be a text or null");
  text = compactObject(value.text, error);
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
  const auto object = compactObject(json, error);
  if (!object) return false;
  for (const JsonMember& member : membersOf(*object)) {
    if (member.name == "conversion" || member.name == "receipts") {
      auto& text = member.name == "conversion" ? settings.conversion : settings.receipts;
      if (!readText(member, text, error)) return fail(error, member.name + ": " + error);
    } else if (member.name == "faults" && member.type == Type::kObject) {
      if (!readFaults(member, settings, error)) return false;
    } else {
      return fail(error, "unknown control " + member.name);
    }
  }
  return true;
}

bool Controls::readFaults(const JsonMember& faults, Settings& settings, std::string& error) {
  for (const JsonMember& fault : membersOf(faults.json)) {
    const Kind endpoint = kindOf(fault.name);
    if (endpoint == Kind::kUndecodable) return fail(error, "unknown endpoint " + fault.name);
    if (!readFault(fault, settings.faults[indexOf(endpoint)])) {
      return fail(error, "the fault of " + fault.name +
                             " needs a status from 200 to 599 or null, a delayMs up to 120000 "
                             "and a drop that is true or false");
    }
  }
  return true;
}

}  // namespace collector
