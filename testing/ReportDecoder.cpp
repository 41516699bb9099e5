// Decodes report bodies, written apart from the library's encoder so that one checks the other.
#include <QuarnelTvOsLib/testing/ReportFields.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel::testing {
namespace {

std::string permutedAlphabet(std::string_view developerKey) {
  std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-/";
  const auto key = utf16CodeUnits(developerKey);
  for (std::size_t i = 0; i < 64 && !key.empty(); ++i) {
    std::swap(alphabet[i], alphabet[(i + key[i % key.size()]) % 64]);
  }
  return alphabet;
}

std::optional<std::string> decodeBase64(std::string_view text, std::string_view alphabet) {
  if (text.size() % 4 != 0) return std::nullopt;
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::size_t digit = alphabet.find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xff);
    }
  }
  return bytes;
}

std::optional<Dictionary> readDictionary(std::string_view json) {
  const auto read = readJson(json);
  if (!read.value || read.value->dictionary() == nullptr) return std::nullopt;
  return *read.value->dictionary();
}

}  // namespace

std::string reportField(const Dictionary& report, std::string_view name) {
  const Value* value = report.find(name);
  return value != nullptr ? describe(*value) : std::string();
}

std::optional<Dictionary> eventValues(const Dictionary& report) {
  const auto json = unescapeUrl(reportField(report, "eventvalue"));
  return json ? readDictionary(*json) : std::nullopt;
}

std::optional<Dictionary> SimulatedPlatform::decodeReport(const RecordedRequest& request,
                                                          std::string_view developerKey) {
  const auto json = decodeBase64(request.body, permutedAlphabet(developerKey));
  return json ? readDictionary(*json) : std::nullopt;
}

std::vector<Dictionary> SimulatedPlatform::reports(std::string_view developerKey) const {
  std::vector<Dictionary> decoded;
  for (const RecordedRequest& request : requests()) {
    if (auto report = decodeReport(request, developerKey)) decoded.push_back(*std::move(report));
  }
  return decoded;
}

std::vector<Dictionary> SimulatedPlatform::deliveredReports(std::string_view developerKey) const {
  std::vector<Dictionary> decoded;
  for (const RecordedRequest& request : requests()) {
    if (!request.isAnswered) continue;
    if (auto report = decodeReport(request, developerKey)) decoded.push_back(*std::move(report));
  }
  return decoded;
}

}  // namespace quarnel::testing
