#include "ReportDecoder.h"

#include <utf8.h>

#include <iterator>
#include <utility>

#include "JsonText.h"
#include "Text.h"

namespace collector {

ReportDecoder::ReportDecoder(std::string_view developerKey) {
  std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-/";
  const std::string valid = validUtf8(developerKey);
  std::u16string key;
  utf8::unchecked::utf8to16(valid.begin(), valid.end(), std::back_inserter(key));
  for (std::size_t i = 0; i < alphabet.size() && !key.empty(); ++i) {
    std::swap(alphabet[i], alphabet[(i + key[i % key.size()]) % alphabet.size()]);
  }
  digits_.fill(-1);
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    digits_[static_cast<unsigned char>(alphabet[i])] = static_cast<std::int16_t>(i);
  }
}

DecodedReport ReportDecoder::decode(std::string_view body) const {
  DecodedReport report;
  if (const auto text = decodeBase64(body, report.error)) {
    report.json = compactObject(*text, report.error);
  }
  return report;
}

std::optional<std::string> ReportDecoder::decodeBase64(std::string_view body,
                                                       std::string& error) const {
  if (body.empty() || body.size() % 4 != 0) {
    error = body.empty() ? "the body is empty"
                         : "the length of the body, " + std::to_string(body.size()) +
                               ", is no multiple of 4";
    return std::nullopt;
  }
  const std::size_t padding = body.ends_with("==") ? 2 : body.ends_with("=") ? 1 : 0;
  std::string text;
  text.reserve(body.size() / 4 * 3);
  std::uint32_t bits = 0;
  int count = 0;
  for (std::size_t i = 0; i < body.size() - padding; ++i) {
    const int digit = digits_[static_cast<unsigned char>(body[i])];
    if (digit < 0) {
      error = "the character at offset " + std::to_string(i) + " is not of the alphabet";
      return std::nullopt;
    }
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count >= 8) {
      count -= 8;
      text.push_back(static_cast<char>(bits >> count));
      bits &= (1U << count) - 1;
    }
  }
  if (bits != 0) {
    error = "the bits before the padding are not zero (is it another developer key?)";
    return std::nullopt;
  }
  return text;
}

}  // namespace collector
