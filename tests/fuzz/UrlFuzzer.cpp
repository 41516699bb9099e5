// URLs of deep links, and percent-escaping.
#include <algorithm>

#include "Check.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"
#include "util/Url.h"

namespace quarnel::fuzz {
namespace {

void checkEscaping(std::string_view text) {
  const std::string escaped = escapeForUrl(text);
  require(std::all_of(escaped.begin(), escaped.end(),
                      [](char c) { return c > ' ' && c < 0x7f && c != '"' && c != '#'; }),
          "an escaped text may stand in a URL");
  const auto plain = unescapeUrl(escaped);
  require(plain.has_value() == isValidUtf8(text), "only UTF-8 is unescaped");
  require(!plain || *plain == text, "escaping can be undone");
  if (const auto unescaped = unescapeUrl(text)) {
    require(isValidUtf8(*unescaped), "an unescaped text is UTF-8");
    require(unescaped->size() <= text.size(), "unescaping makes nothing longer");
  }
}

void checkParameters(std::string_view url) {
  const Dictionary parameters = QuarnelUtils::URLQueryParameters(url);
  require(parameters.size() <= url.size() + 2, "every parameter comes from the URL");
  for (const auto& [key, value] : parameters) {
    require(isValidUtf8(key) && value.text() != nullptr && isValidUtf8(*value.text()),
            "parameters are UTF-8 texts");
    require(value.text()->size() <= url.size(), "no parameter is longer than the URL");
  }
  const UrlParts parts = parseUrl(url);
  const Value* const path = parameters.find("path");
  require(!parts.path || (path != nullptr && *path->text() == *parts.path), "the path wins");
  const Value* const scheme = parameters.find("scheme");
  require(!parts.scheme || (scheme != nullptr && *scheme->text() == *parts.scheme),
          "the scheme wins");
}

// A parameter that is written with every byte escaped reads back as it was.
void checkRoundTrip(std::string_view value) {
  std::string url = "app://host/x?k=";
  for (const char c : value) {
    const auto byte = static_cast<std::uint8_t>(c);
    url += "%" + hexadecimal(&byte, 1);
  }
  const Dictionary parameters = QuarnelUtils::URLQueryParameters(url + "&scheme=other");
  const Value* const read = parameters.find("k");
  require((read != nullptr) == isValidUtf8(value), "a parameter of UTF-8 is there");
  require(read == nullptr || *read->text() == value, "a parameter reads back");
  require(*parameters.find("scheme")->text() == "app", "a parameter does not replace the scheme");
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = quarnel::fuzz::textOf(data, size);
  quarnel::fuzz::checkEscaping(text);
  quarnel::fuzz::checkParameters(text);
  quarnel::fuzz::checkRoundTrip(text);
  return 0;
}
