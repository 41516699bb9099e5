// Undoes the encoding of report bodies: Base64 over an alphabet that the developer key permutes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace collector {

struct DecodedReport {
  std::optional<std::string> json;  // One line of JSON, an object.
  std::string error;                // Why there is none.
};

class ReportDecoder {
 public:
  explicit ReportDecoder(std::string_view developerKey);

  // Strict: anything that the encoding cannot have produced is an error.
  DecodedReport decode(std::string_view body) const;

 private:
  std::optional<std::string> decodeBase64(std::string_view body, std::string& error) const;

  std::array<std::int16_t, 256> digits_;  // The value of a character, -1 outside the alphabet.
};

}  // namespace collector
