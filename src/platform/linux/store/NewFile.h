#pragma once

#include <string>
#include <string_view>

namespace quarnel {

// Makes a file of mode 0600 that is there whole or not at all, also after a power failure. Returns
// 0 or the errno of what failed; EEXIST when the name is taken.
int createFileDurably(const std::string& path, std::string_view content);

// The same for file systems that cannot have files without a name: the file has a hidden temporary
// one at first, which stays behind when the process is killed.
int createFileByTemporaryName(const std::string& path, std::string_view content);

bool isTemporaryName(std::string_view name);

// Removes a file with a temporary name once it is so old that nobody can still be writing it. Its
// process's number tells nothing of that: the next process may have it, and processes of other
// containers that share the directory are not seen.
void removeIfAbandoned(int directory, const std::string& name);

}  // namespace quarnel
