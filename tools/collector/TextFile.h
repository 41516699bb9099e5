#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace collector {

// The file's content; absent when it cannot be read.
inline std::optional<std::string> readTextFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) return std::nullopt;
  return text;
}

}  // namespace collector
