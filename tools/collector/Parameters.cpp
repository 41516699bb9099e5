#include "Parameters.h"

#include <algorithm>

#include "JsonText.h"
#include "Text.h"

namespace collector {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// "+" stands for itself: the queries of reports are URLs, not forms.
std::string percentDecoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '%' && i + 2 < text.size();
    const int high = escape ? hexDigit(text[i + 1]) : -1;
    const int low = escape ? hexDigit(text[i + 2]) : -1;
    if (high < 0 || low < 0) {
      bytes.push_back(text[i]);
      continue;
    }
    bytes.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return validUtf8(bytes);
}

Parameters split(std::string_view text, std::string (*decoded)(std::string_view)) {
  Parameters parameters;
  while (!text.empty()) {
    const std::string_view item = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(item.size() + 1, text.size()));
    if (item.empty()) continue;
    const auto equals = item.find('=');
    const auto value = equals == item.npos ? std::string_view() : item.substr(equals + 1);
    parameters[decoded(item.substr(0, equals))] = decoded(value);
  }
  return parameters;
}

}  // namespace

Parameters parametersOf(std::string_view query) { return split(query, percentDecoded); }

Parameters plainParametersOf(std::string_view body) { return split(body, validUtf8); }

std::string decodedText(std::string_view text) { return percentDecoded(text); }

std::string jsonObject(const Parameters& parameters) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  for (const auto& [name, value] : parameters) {
    writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    writeText(writer, value);
  }
  writer.EndObject();
  return std::string(view(buffer));
}

}  // namespace collector
