#pragma once

#include "platform/FileSystem.h"
#include "platform/linux/store/EmptyFolder.h"

namespace quarnel {

struct ApplicationDirectories {
  std::string library;
  std::string caches;
  std::string temporary;
};

// Below the state directory when the host application gives one, else the XDG base directories.
ApplicationDirectories applicationDirectories(const std::optional<std::string>& stateDirectory,
                                              const std::optional<std::string>& bundleIdentifier);

class LinuxFileSystem final : public FileSystem {
 public:
  explicit LinuxFileSystem(ApplicationDirectories directories);

  // Each is made when it is asked for and missing.
  std::string libraryDirectory() const override;
  std::string cachesDirectory() const override;
  std::string temporaryDirectory() const override;

  bool exists(const std::string& path) const override;
  std::optional<Date> creationDate(const std::string& path) const override;
  std::optional<Date> modificationDate(const std::string& path) const override;
  std::optional<std::string> createDirectory(const std::string& path, bool withParents) override;
  std::optional<std::vector<std::string>> list(const std::string& directory) const override;
  std::optional<std::string> read(const std::string& path, std::size_t limit) const override;
  WriteResult writeNewFile(const std::string& path, const std::string& content) override;
  std::optional<std::string> move(const std::string& from, const std::string& to) override;
  std::optional<std::string> remove(const std::string& path) override;

  // When a directory was first asked about, as a marker file in it remembers: for file systems
  // that keep no creation dates.
  static std::optional<Date> firstSeenDate(const std::string& directory);

 private:
  const ApplicationDirectories directories_;
  mutable EmptyFolder emptyFolder_;
};

}  // namespace quarnel
