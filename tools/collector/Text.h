// Text from outside, made fit for where it goes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace collector {

// Every malformed sequence becomes U+FFFD.
std::string validUtf8(std::string_view bytes);

// One line for a terminal: whatever could steer the terminal or reorder its text (control
// characters, line separators, directional formatting) stands as \u{...}, and what is longer than
// `limit` characters ends in an ellipsis.
std::string printable(std::string_view bytes, std::size_t limit);

// `text` filled with blanks to `width` characters.
std::string padded(std::string text, std::size_t width);

}  // namespace collector
