#pragma once

#include <string>
#include <string_view>

namespace quarnel {

// Makes a file of mode 0600 that is there whole or not at all, also after a power failure. Returns
// 0 or the errno of what failed; EEXIST when the name is taken.
int createFileDurably(const std::string& path, std::string_view content);

// The same for file systems that cannot have files without a name.
int createFileByTemporaryName(const std::string& path, std::string_view content);

}  // namespace quarnel
