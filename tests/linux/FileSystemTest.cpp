#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "Support.h"
#include "platform/linux/store/Directories.h"
#include "platform/linux/store/LinuxFileSystem.h"
#include "platform/linux/store/NewFile.h"

namespace quarnel::test {
namespace {

class FileSystemTest : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  LinuxFileSystem files_{applicationDirectories(directory_ / "a/b", std::nullopt)};
};

TEST_F(FileSystemTest, DirectoriesAreMadeForTheUserOnly) {
  EXPECT_EQ(files_.libraryDirectory(), directory_ / "a/b/Library");
  EXPECT_EQ(files_.cachesDirectory(), directory_ / "a/b/Caches");
  EXPECT_EQ(files_.temporaryDirectory(), directory_ / "a/b/tmp");
  for (const char* made : {"a", "a/b", "a/b/Library", "a/b/Caches", "a/b/tmp"}) {
    EXPECT_EQ(modeOf(directory_ / made), 0700U) << made;
  }
  EXPECT_TRUE(files_.createDirectory(directory_ / "x/y", false));
  EXPECT_FALSE(files_.createDirectory(directory_ / "x/y", true));
  EXPECT_FALSE(files_.createDirectory(directory_ / "x/y", false)) << "there already";
  writeFile(directory_ / "file", "");
  EXPECT_TRUE(files_.createDirectory(directory_ / "file", false));
  EXPECT_TRUE(files_.createDirectory(directory_ / "file/below", true));
}

TEST_F(FileSystemTest, WithoutHomeTheUserDatabaseTellsIt) {
  ::setenv("XDG_DATA_HOME", "relative", 1);
  for (const char* const home : {"", "relative"}) {
    ::setenv("HOME", home, 1);
    EXPECT_EQ(xdgDataHome(), ::getpwuid(::getuid())->pw_dir + std::string("/.local/share"));
  }
  ::unsetenv("HOME");
  EXPECT_EQ(xdgDataHome().front(), '/');
  ::unsetenv("XDG_RUNTIME_DIR");
  const std::string temporary = userTemporaryDirectory();
  EXPECT_EQ(modeOf(temporary), 0700U) << temporary;
  // Somebody else may have been there first.
  std::filesystem::permissions(temporary, std::filesystem::perms(0777));
  EXPECT_EQ(userTemporaryDirectory(), "/dev/null");
  std::filesystem::permissions(temporary, std::filesystem::perms(0700));
}

TEST_F(FileSystemTest, BundleIdentifiersLeadNowhereElse) {
  ::setenv("XDG_DATA_HOME", "/data", 1);
  ::setenv("XDG_CACHE_HOME", "relative/is/ignored", 1);
  ::setenv("HOME", "/home/u", 1);
  ::setenv("XDG_RUNTIME_DIR", "/run/u", 1);
  const std::pair<std::string, std::string> cases[] = {
      {"com.example.app", "com.example.app"},
      {"..", "_."},
      {".", "_"},
      {"../../etc", "_._.._etc"},
      {"/etc", "_etc"},
      {std::string("a\0b\n", 4), "a_b_"},
      {std::string(300, 'x'), std::string(200, 'x')},
  };
  for (const auto& [identifier, folder] : cases) {
    const auto directories = applicationDirectories(std::nullopt, identifier);
    EXPECT_EQ(directories.library, "/data/" + folder + "/Library");
    EXPECT_EQ(directories.caches, "/home/u/.cache/" + folder);
    EXPECT_EQ(directories.temporary, "/run/u/" + folder);
  }
  EXPECT_EQ(applicationFolderName(std::nullopt), "quarnel-linux_tests");
}

TEST_F(FileSystemTest, NewFilesAreWholeOrNotThere) {
  for (const auto create : {&createFileDurably, &createFileByTemporaryName}) {
    const TemporaryDirectory folder;
    const std::string content(300000, 'c');
    EXPECT_EQ(create(folder / "new", content), 0);
    EXPECT_EQ(readFile(folder / "new"), content);
    EXPECT_EQ(modeOf(folder / "new"), 0600U);
    EXPECT_EQ(create(folder / "new", "other"), EEXIST);
    EXPECT_EQ(readFile(folder / "new"), content);
    std::filesystem::create_symlink("nowhere", folder / "link");
    EXPECT_EQ(create(folder / "link", "other"), EEXIST);
    EXPECT_EQ(create(folder / "missing/new", "x"), ENOENT);
    // A disk that gets full in the middle.
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{100000, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    const int full = create(folder / "large", content);
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(full, EFBIG);
    EXPECT_EQ(namesIn(folder.path()).size(), 2U) << "no leftovers";
  }
  using Outcome = FileSystem::WriteOutcome;
  EXPECT_EQ(files_.writeNewFile(directory_ / "f", "x").outcome, Outcome::kWritten);
  EXPECT_EQ(files_.writeNewFile(directory_ / "f", "y").outcome, Outcome::kNameTaken);
  const auto failed = files_.writeNewFile(directory_ / "none/f", "x");
  EXPECT_EQ(failed.outcome, Outcome::kFailed);
  EXPECT_EQ(failed.reason, "No such file or directory");
}

TEST_F(FileSystemTest, ReadsRegularFilesWithinTheLimitOnly) {
  writeFile(directory_ / "file", "12345");
  writeFile(directory_ / "empty", "");
  ::mkfifo((directory_ / "fifo").c_str(), 0600);
  std::filesystem::create_symlink("file", directory_ / "link");
  const struct {
    std::string path;
    std::size_t limit;
    std::optional<std::string> content;
  } cases[] = {
      {directory_ / "file", 5, "12345"},
      {directory_ / "file", 4, std::nullopt},
      {directory_ / "empty", 0, ""},
      {directory_ / "fifo", 100, std::nullopt},
      {directory_ / "link", 100, std::nullopt},
      {directory_.path(), 100, std::nullopt},
      {directory_ / "missing", 100, std::nullopt},
      {"/dev/zero", 100, std::nullopt},
      {"/proc/kallsyms", 100, std::nullopt},  // Tells a size of 0.
  };
  for (const auto& each : cases) {
    EXPECT_EQ(files_.read(each.path, each.limit), each.content) << each.path;
  }
}

TEST_F(FileSystemTest, ListsRemovesAndDates) {
  writeFile(directory_ / "one", "");
  std::filesystem::create_symlink("nowhere", directory_ / "link");
  EXPECT_EQ(files_.list(directory_.path())->size(), 2U);
  EXPECT_FALSE(files_.list(directory_ / "one"));
  EXPECT_TRUE(files_.exists(directory_ / "link"));
  EXPECT_FALSE(files_.modificationDate(directory_ / "link"));
  EXPECT_FALSE(files_.remove(directory_ / "one"));
  EXPECT_EQ(files_.remove(directory_ / "one"), "No such file or directory");
  EXPECT_FALSE(files_.exists(directory_ / "one"));
  const auto created = files_.creationDate(directory_.path());
  ASSERT_TRUE(created);
  const auto age = std::chrono::system_clock::now() - *created;
  EXPECT_GE(age, std::chrono::seconds(0));
  EXPECT_LT(age, std::chrono::minutes(5));
  const auto seen = LinuxFileSystem::firstSeenDate(directory_.path());
  ASSERT_TRUE(seen);
  EXPECT_GE(*seen, *created);
  writeFile(directory_ / "later", "");
  EXPECT_EQ(LinuxFileSystem::firstSeenDate(directory_.path()), seen);
}

// A folder that is seen empty when it has been left alone for a while is not listed again.
TEST_F(FileSystemTest, WhatComesIntoAnEmptyFolderIsListed) {
  const std::string folder = directory_ / "folder";
  std::filesystem::create_directory(folder);
  const auto names = [&] { return files_.list(folder).value_or(std::vector<std::string>{"-"}); };
  std::this_thread::sleep_for(std::chrono::milliseconds(4100));
  for (int i = 0; i < 2; ++i) EXPECT_EQ(names(), std::vector<std::string>());
  writeFile(folder + "/one", "");
  EXPECT_EQ(names(), std::vector<std::string>{"one"});
  std::filesystem::remove(folder + "/one");
  EXPECT_EQ(names(), std::vector<std::string>());
  std::filesystem::remove(folder);
  EXPECT_EQ(names(), std::vector<std::string>{"-"});
}

}  // namespace
}  // namespace quarnel::test
