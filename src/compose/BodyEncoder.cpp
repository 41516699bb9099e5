#include "compose/BodyEncoder.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "util/Text.h"

namespace quarnel {
namespace {

using Alphabet = std::array<char, 64>;

Alphabet permutedAlphabet(std::string_view developerKey) {
  constexpr std::string_view kBase =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-/";
  Alphabet alphabet;
  kBase.copy(alphabet.data(), alphabet.size());
  const std::vector<std::uint16_t> key = utf16CodeUnits(developerKey);
  if (key.empty()) return alphabet;
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    std::swap(alphabet[i], alphabet[(i + key[i % key.size()]) % alphabet.size()]);
  }
  return alphabet;
}

}  // namespace

std::string encodeBody(std::string_view json, std::string_view developerKey) {
  const Alphabet alphabet = permutedAlphabet(developerKey);
  std::string text((json.size() + 2) / 3 * 4, '=');
  char* out = text.data();
  const auto* in = reinterpret_cast<const std::uint8_t*>(json.data());
  std::size_t left = json.size();
  for (; left >= 3; left -= 3, in += 3) {
    const std::uint32_t group = std::uint32_t{in[0]} << 16 | std::uint32_t{in[1]} << 8 | in[2];
    *out++ = alphabet[group >> 18];
    *out++ = alphabet[group >> 12 & 63];
    *out++ = alphabet[group >> 6 & 63];
    *out++ = alphabet[group & 63];
  }
  if (left > 0) {
    const std::uint32_t second = left == 2 ? in[1] : 0;
    const std::uint32_t group = std::uint32_t{in[0]} << 16 | second << 8;
    *out++ = alphabet[group >> 18];
    *out++ = alphabet[group >> 12 & 63];
    if (left == 2) *out = alphabet[group >> 6 & 63];
  }
  return text;
}

}  // namespace quarnel
