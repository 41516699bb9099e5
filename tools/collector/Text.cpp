#include "Text.h"

#include <utf8.h>

#include <array>
#include <cstdio>
#include <iterator>

namespace collector {
namespace {

bool steersTerminal(char32_t c) {
  return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0xad || c == 0x61c ||
         (c >= 0x200b && c <= 0x200f) || (c >= 0x2028 && c <= 0x202e) ||
         (c >= 0x2060 && c <= 0x206f) || c == 0xfeff || (c >= 0xfff9 && c <= 0xfffb) ||
         (c >= 0xe0000 && c <= 0xe007f);
}

std::string escaped(char32_t c) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "\\u{%x}", static_cast<unsigned>(c));
  return text.data();
}

}  // namespace

std::string validUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  utf8::replace_invalid(bytes.begin(), bytes.end(), std::back_inserter(text));
  return text;
}

std::string printable(std::string_view bytes, std::size_t limit) {
  // Only what can be shown is looked at: a character has at most four bytes.
  const std::string text = validUtf8(bytes.substr(0, 4 * (limit + 1)));
  std::string line;
  std::size_t length = 0;
  for (auto at = text.begin(); at != text.end();) {
    const char32_t c = utf8::unchecked::next(at);
    std::string shown;
    if (steersTerminal(c)) {
      shown = escaped(c);
    } else {
      utf8::unchecked::append(c, std::back_inserter(shown));
    }
    length += steersTerminal(c) ? shown.size() : 1;
    if (length > limit) return line + "…";
    line += shown;
  }
  return line;
}

std::string padded(std::string text, std::size_t width) {
  const auto length = static_cast<std::size_t>(utf8::unchecked::distance(text.begin(), text.end()));
  if (length < width) text.append(width - length, ' ');
  return text;
}

}  // namespace collector
