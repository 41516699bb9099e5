// Text conversions that follow the original platform's rules.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarnel {

// The text with every byte that is not UTF-8 replaced by U+FFFD.
std::string validUtf8(std::string text);
std::optional<std::string> validUtf8(std::optional<std::string> text);
bool isValidUtf8(std::string_view text);

// The text's UTF-16 code units. Bytes that are not UTF-8 count as U+FFFD.
std::vector<std::uint16_t> utf16CodeUnits(std::string_view text);

// The legacy URL escaping: escapes what may not stand in a URL at all, "%" included, and leaves
// every reserved character alone.
std::string escapeForUrl(std::string_view text);

// Undoes percent-escaping; absent when an escape is malformed or the result is not UTF-8.
std::optional<std::string> unescapeUrl(std::string_view text);

// Leading blanks, a sign and digits as a number, 0 without digits; saturates.
std::int64_t integerValue(std::string_view text);

// Leading blanks and then as much as reads as a finite decimal number, 0 where nothing does.
double decimalValue(std::string_view text);

// Compares runs of digits as numbers and everything else byte by byte; negative, 0 or positive.
int compareNumerically(std::string_view left, std::string_view right);

// As formatted into a log line or URL: "(null)" when absent.
std::string_view textOrNull(const std::optional<std::string>& text);

std::string hexadecimal(const std::uint8_t* bytes, std::size_t size);

// "<01abcdef 02>".
std::string describeBytes(const Bytes& bytes);

}  // namespace quarnel
