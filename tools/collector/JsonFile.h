// JSON files that the user of the collector writes.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace collector {

// The object in the file as one line of JSON. Nothing, and the reason in `error`, when the file
// cannot be read or holds no JSON object.
std::optional<std::string> readJsonFile(const std::filesystem::path& path, std::string& error);

}  // namespace collector
