// The collector's decoder of report bodies, and the library's encoder against it. The first line is
// the developer key.
#include "Check.h"
#include "ReportDecoder.h"
#include "Text.h"
#include "compose/BodyEncoder.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel::fuzz {
namespace {

void check(std::string_view input) {
  const std::string key(takeLine(input));
  const collector::ReportDecoder decoder(key);
  const auto decoded = decoder.decode(input);
  require(decoded.json.has_value() == decoded.error.empty(), "there is a report or an error");
  if (decoded.json) {
    require(isValidUtf8(*decoded.json), "a decoded report is UTF-8");
    require(decoded.json->find('\n') == std::string::npos, "a decoded report is one line");
  }
  const std::string line = collector::printable(input, 80);
  require(isValidUtf8(line), "what is printed is UTF-8");
  require(line.find_first_of("\n\r\x1b") == std::string::npos, "a report steers no terminal");

  const Dictionary report{{"event", validUtf8(std::string(input))}};
  const std::string json = *writeJson(report);
  const auto again = decoder.decode(encodeBody(json, key));
  require(again.json == json, "what the library encodes is decoded");
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnel::fuzz::check(quarnel::fuzz::textOf(data, size));
  return 0;
}
