#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quarnel {

// The application's directories and the few file operations that the library needs. No operation
// follows a symbolic link at the last component, blocks on a FIFO or reads an unbounded amount.
// Callable from any thread.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  virtual std::string libraryDirectory() const = 0;
  virtual std::string cachesDirectory() const = 0;
  virtual std::string temporaryDirectory() const = 0;

  virtual bool exists(const std::string& path) const = 0;
  virtual std::optional<Date> creationDate(const std::string& path) const = 0;
  virtual std::optional<Date> modificationDate(const std::string& path) const = 0;

  // Makes a directory that only the user may enter. Absent on success, else why not.
  virtual std::optional<std::string> createDirectory(const std::string& path, bool withParents) = 0;

  // The names of the directory's entries in no particular order; absent when it cannot be listed.
  // Files that writeNewFile is still writing are left out, and those that it never finished, as its
  // process was killed, are removed in time.
  virtual std::optional<std::vector<std::string>> list(const std::string& directory) const = 0;

  // The content of a regular file of at most `limit` bytes; absent for anything else.
  virtual std::optional<std::string> read(const std::string& path, std::size_t limit) const = 0;

  // Writes a new file of mode 0600 so that it is there whole or not at all, also after a power
  // failure. Never replaces an existing file.
  enum class WriteOutcome { kWritten, kNameTaken, kFailed };
  struct WriteResult {
    WriteOutcome outcome = WriteOutcome::kWritten;
    std::string reason;  // Why it failed.
  };
  virtual WriteResult writeNewFile(const std::string& path, const std::string& content) = 0;

  // Moves a file within one file system; an existing one is not replaced. Absent on success, else
  // why not.
  virtual std::optional<std::string> move(const std::string& from, const std::string& to) = 0;

  // Removes a file. Absent on success, else why not.
  virtual std::optional<std::string> remove(const std::string& path) = 0;
};

}  // namespace quarnel
