#include "JsonFile.h"

#include <fstream>
#include <sstream>

#include "JsonText.h"
#include "Text.h"

namespace collector {

std::optional<std::string> readJsonFile(const std::filesystem::path& path, std::string& error) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  // A folder can be opened, but nothing can be copied from it; nor can it from an empty file, which
  // is no JSON either.
  if (!file || !(text << file.rdbuf())) {
    error = validUtf8(path.native()) + " cannot be read, or is empty";
    return std::nullopt;
  }
  auto json = compactObject(text.str(), error);
  if (!json) error = validUtf8(path.native()) + ": " + error;
  return json;
}

}  // namespace collector
