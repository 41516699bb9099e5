#include "platform/apple/AppleFileSystem.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include "platform/apple/FoundationValue.h"
#include "platform/apple/PosixFiles.h"

namespace quarnel {
namespace {

std::string firstDirectory(NSSearchPathDirectory kind) {
  @autoreleasepool {
    NSArray* const paths = NSSearchPathForDirectoriesInDomains(kind, NSUserDomainMask, YES);
    return textFrom([paths firstObject]).value_or("");
  }
}

// Does not follow a link, but a link's own dates are of no interest.
std::optional<Date> dateOf(const std::string& path, NSString* attribute) {
  @autoreleasepool {
    NSDictionary* const attributes =
        [[NSFileManager defaultManager] attributesOfItemAtPath:stringFrom(std::string_view(path))
                                                         error:nullptr];
    if ([[attributes fileType] isEqual:NSFileTypeSymbolicLink]) return std::nullopt;
    return dateFrom([attributes objectForKey:attribute]);
  }
}

}  // namespace

std::string AppleFileSystem::libraryDirectory() const { return firstDirectory(NSLibraryDirectory); }

std::string AppleFileSystem::cachesDirectory() const { return firstDirectory(NSCachesDirectory); }

std::string AppleFileSystem::temporaryDirectory() const {
  @autoreleasepool {
    return textFrom(NSTemporaryDirectory()).value_or("");
  }
}

bool AppleFileSystem::exists(const std::string& path) const { return files::exists(path); }

std::optional<Date> AppleFileSystem::creationDate(const std::string& path) const {
  return dateOf(path, NSFileCreationDate);
}

std::optional<Date> AppleFileSystem::modificationDate(const std::string& path) const {
  return dateOf(path, NSFileModificationDate);
}

std::optional<std::string> AppleFileSystem::createDirectory(const std::string& path,
                                                            bool withParents) {
  @autoreleasepool {
    NSError* error = nil;
    const BOOL made =
        [[NSFileManager defaultManager] createDirectoryAtPath:stringFrom(std::string_view(path))
                                  withIntermediateDirectories:withParents
                                                   attributes:@{
                                                     NSFilePosixPermissions : @0700
                                                   }
                                                        error:&error];
    if (made || files::isDirectory(path)) return std::nullopt;
    return textFrom([error localizedDescription]).value_or("unknown error");
  }
}

std::optional<std::vector<std::string>> AppleFileSystem::list(const std::string& directory) const {
  return files::list(directory);
}

std::optional<std::string> AppleFileSystem::read(const std::string& path, std::size_t limit) const {
  return files::read(path, limit);
}

FileSystem::WriteResult AppleFileSystem::writeNewFile(const std::string& path,
                                                      const std::string& content) {
  int error = files::create(path, content);
  if (error == ENOENT && !createDirectory(path.substr(0, path.rfind('/')), true)) {
    // The system, or the user in the settings, has emptied Caches meanwhile.
    error = files::create(path, content);
  }
  if (error == 0) return {WriteOutcome::kWritten, {}};
  if (error == EEXIST) return {WriteOutcome::kNameTaken, {}};
  return {WriteOutcome::kFailed, files::reason(error)};
}

std::optional<std::string> AppleFileSystem::move(const std::string& from, const std::string& to) {
  const int error = files::move(from, to);
  return error == 0 ? std::nullopt : std::optional(files::reason(error));
}

std::optional<std::string> AppleFileSystem::remove(const std::string& path) {
  if (::unlink(path.c_str()) == 0) return std::nullopt;
  return files::reason(errno);
}

}  // namespace quarnel
