#pragma once

#include "platform/FileSystem.h"

namespace quarnel {

// The directories of the application's container. Of these only Caches and tmp can be written to,
// and the system may empty them while the application does not run.
class AppleFileSystem final : public FileSystem {
 public:
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
};

}  // namespace quarnel
