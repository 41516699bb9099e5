#include "platform/linux/store/Directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace quarnel {
namespace {

constexpr std::size_t kLongestFolderName = 200;  // File systems take 255 bytes.

std::optional<std::string> absolutePathFrom(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || *value != '/') return std::nullopt;
  return value;
}

// Anybody may have made a directory in /tmp. If it is not this user's alone nothing can be stored.
std::string fallbackDirectory() {
  std::string path = "/tmp/quarnel-" + std::to_string(::getuid());
  ::mkdir(path.c_str(), 0700);
  struct stat status {};
  const bool isOurs = ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                      status.st_uid == ::getuid() && (status.st_mode & 077) == 0;
  return isOurs ? path : "/dev/null";
}

std::string homeDirectory() {
  if (auto home = absolutePathFrom("HOME")) return *std::move(home);
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
      found != nullptr && found->pw_dir != nullptr && *found->pw_dir == '/') {
    return found->pw_dir;
  }
  return fallbackDirectory();
}

std::string xdgDirectory(const char* variable, const char* belowHome) {
  if (auto directory = absolutePathFrom(variable)) return *std::move(directory);
  return homeDirectory() + belowHome;
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::string parentDirectory(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::optional<std::string> makeDirectories(const std::string& path) {
  // Upwards to the first one that can be made or is there, then down again.
  std::vector<std::string> missing{path};
  while (!missing.empty()) {
    const bool isThere = isDirectory(missing.back());
    const int reason = isThere || ::mkdir(missing.back().c_str(), 0700) == 0 ? 0 : errno;
    // Another process may have been quicker.
    if (reason == 0 || (reason == EEXIST && isDirectory(missing.back()))) {
      missing.pop_back();
      continue;
    }
    std::string parent = parentDirectory(missing.back());
    const bool parentIsMissing = reason == ENOENT && parent != missing.back();
    if (!parentIsMissing || isDirectory(parent)) {
      return missing.back() + ": " + std::strerror(reason);
    }
    missing.push_back(std::move(parent));
  }
  return std::nullopt;
}

std::string xdgDataHome() { return xdgDirectory("XDG_DATA_HOME", "/.local/share"); }

std::string xdgCacheHome() { return xdgDirectory("XDG_CACHE_HOME", "/.cache"); }

std::string userTemporaryDirectory() {
  if (auto directory = absolutePathFrom("XDG_RUNTIME_DIR")) return *std::move(directory);
  return fallbackDirectory();
}

std::string applicationFolderName(const std::optional<std::string>& bundleIdentifier) {
  std::string name;
  if (bundleIdentifier && !bundleIdentifier->empty()) {
    name = *bundleIdentifier;
  } else {
    std::error_code ignored;
    name =
        "quarnel-" + std::filesystem::read_symlink("/proc/self/exe", ignored).filename().string();
  }
  for (char& c : name) {
    if (c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '_';
  }
  // Neither "." nor "..", nor a hidden folder.
  if (name.front() == '.') name.front() = '_';
  name.resize(std::min(name.size(), kLongestFolderName));
  return name;
}

}  // namespace quarnel
