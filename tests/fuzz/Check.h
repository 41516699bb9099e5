#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

// Given to the fuzzer's engine, which calls it with one input after another.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace quarnel::fuzz {

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// Ends the process when a property does not hold; the engine then keeps the input.
inline void require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "The property does not hold: %s\n", property);
  std::abort();
}

// Takes the first line off the text, without its line feed.
inline std::string_view takeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
  return line;
}

}  // namespace quarnel::fuzz
