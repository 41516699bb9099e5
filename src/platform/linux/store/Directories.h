#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

std::string parentDirectory(const std::string& path);

// Makes a directory of mode 0700 and the missing ones above it. Absent on success, else why not.
std::optional<std::string> makeDirectories(const std::string& path);

// $XDG_DATA_HOME, or where it lies by default; likewise $XDG_CACHE_HOME.
std::string xdgDataHome();
std::string xdgCacheHome();

// A directory for temporary files of this user.
std::string userTemporaryDirectory();

// The name of the folder for an application's files: its bundle identifier without anything that
// would lead elsewhere, or the name of the program when there is none.
std::string applicationFolderName(const std::optional<std::string>& bundleIdentifier);

}  // namespace quarnel
