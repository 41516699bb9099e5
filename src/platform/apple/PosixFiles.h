#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the file system port promises, by system calls: no operation follows a link at the last
// component or blocks on a FIFO. Numbers are 0 or an errno.
namespace quarnel::files {

bool exists(const std::string& path);
bool isDirectory(const std::string& path);
std::optional<std::vector<std::string>> list(const std::string& directory);
std::optional<std::string> read(const std::string& path, std::size_t limit);

// The file is there whole or not at all; EEXIST when the name is taken.
int create(const std::string& path, std::string_view content);
int move(const std::string& from, const std::string& to);

std::string reason(int error);

}  // namespace quarnel::files
