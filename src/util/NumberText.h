// Floating-point numbers to and from text, in the C locale whatever the process has set. The
// standard library's own conversions are missing on older systems.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// The shortest text that reads back as the same number; of the fixed and the scientific notation
// the shorter one. "nan", "inf" and "-inf" for what is not finite.
std::string shortestText(double number);
std::string shortestText(float number);

// printf's "%.<decimals>f".
std::string fixed(double number, int decimals);

// What the longest prefix of the text says that is a decimal number (digits, one point among them,
// an exponent behind); a minus in front is allowed. Absent when there is no digit. Infinite beyond
// the range of doubles.
std::optional<double> readDecimal(std::string_view text);

}  // namespace quarnel
