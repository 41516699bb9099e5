#include "util/JsonFields.h"

#include <array>
#include <cstdint>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

// What follows the backslash of an escaped character, 'u' for the long form, 0 for characters that
// stand as they are.
constexpr std::array<char, 256> makeEscapes() {
  std::array<char, 256> escapes{};
  for (std::size_t i = 0; i < 0x20; ++i) escapes[i] = 'u';
  escapes['\b'] = 'b';
  escapes['\f'] = 'f';
  escapes['\n'] = 'n';
  escapes['\r'] = 'r';
  escapes['\t'] = 't';
  escapes['"'] = '"';
  escapes['\\'] = '\\';
  return escapes;
}
constexpr std::array<char, 256> kEscapes = makeEscapes();

void appendValid(std::string& out, std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    const char escape = kEscapes[byte];
    if (escape == 0) continue;
    out.append(text, copied, i - copied);
    copied = i + 1;
    out += '\\';
    out += escape;
    if (escape == 'u') (out += "00") += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  out.append(text, copied);
}

}  // namespace

void JsonFields::begin(std::string_view key) {
  if (!text_.empty()) text_ += ',';
  ((text_ += '"') += key) += "\":";
}

void JsonFields::set(std::string_view key, const std::optional<std::string>& text) {
  set(key, text ? std::string_view(*text) : std::string_view());
}

void JsonFields::set(std::string_view key, std::string_view text) {
  begin(key);
  text_ += '"';
  if (isValidUtf8(text)) {
    appendValid(text_, text);
  } else {
    appendValid(text_, validUtf8(std::string(text)));
  }
  text_ += '"';
}

void JsonFields::set(std::string_view key, bool flag) {
  begin(key);
  text_ += flag ? "true" : "false";
}

void JsonFields::set(std::string_view key, std::int64_t number) {
  begin(key);
  text_ += std::to_string(number);
}

void JsonFields::set(std::string_view key, double number) { setValue(key, number); }

void JsonFields::setValue(std::string_view key, const Value& value) {
  const std::optional<std::string> json = writeJson(value);
  if (!json) return;
  begin(key);
  text_ += *json;
}

void JsonFields::append(std::string_view fields) {
  if (fields.empty()) return;
  if (!text_.empty()) text_ += ',';
  text_ += fields;
}

}  // namespace quarnel
