#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "Support.h"
#include "platform/linux/store/LinuxFileSystem.h"

namespace quarnel::test {
namespace {

void makeOlder(const std::string& path, std::chrono::seconds age) {
  const std::time_t then = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  const timespec times[] = {{then - age.count(), 0}, {then - age.count(), 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

TEST(LeftoverFilesTest, ListsNoUnfinishedFilesAndRemovesTheAbandoned) {
  using std::chrono::minutes;
  const struct {
    std::string name;
    minutes age;
    bool isListed;
    bool isKept;
  } cases[] = {
      {".5.000001.qn.tmp-1-1", minutes(59), false, true},
      {".5.000001.qn.tmp-1-2", minutes(61), false, false},
      {".5.000001.qn.tmp-1-3", minutes(-600), false, true},  // The clock was set back.
      // Whatever else lies there is not ours to remove, however old.
      {"5.000001.qn", minutes(600), true, true},
      {"5.000001.qn.tmp-1-1", minutes(600), true, true},
      {".5.000001.qn.tmp-1-1~", minutes(600), true, true},
      {".hidden", minutes(600), true, true},
  };
  const TemporaryDirectory directory;
  for (const auto& each : cases) {
    writeFile(directory / each.name, "x");
    makeOlder(directory / each.name, each.age);
  }
  // Only files are made with such names.
  ASSERT_EQ(::mkdir((directory / ".folder.tmp-1-1").c_str(), 0700), 0);
  makeOlder(directory / ".folder.tmp-1-1", minutes(600));

  const LinuxFileSystem files(applicationDirectories(directory.path(), std::nullopt));
  const auto listed = files.list(directory.path());
  ASSERT_TRUE(listed);
  for (const auto& each : cases) {
    EXPECT_EQ(std::count(listed->begin(), listed->end(), each.name), each.isListed) << each.name;
    EXPECT_EQ(files.exists(directory / each.name), each.isKept) << each.name;
  }
  EXPECT_TRUE(files.exists(directory / ".folder.tmp-1-1"));
}

}  // namespace
}  // namespace quarnel::test
