// A disk that cannot take the records, and a folder full of things that are none.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

#include "CacheFolder.h"
#include "ReportServer.h"

namespace e2e {
namespace {

using Behaviour = ReportServer::Behaviour;
using Events = std::vector<std::string>;

void track(Host& host, const std::string& event) {
  host.run(R"(["trackEvent:withValue:",)" + quoted(event) + R"(,"v"])");
}

void write(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

class OfflineStorageTest : public testing::Test {
 protected:
  Host start() { return Host(state_, server_.reportingHere(folder_.path())); }

  TemporaryFolder folder_;
  const std::string state_ = folder_.path("state");
  const std::string cache_ = cacheFolder(state_);
  ReportServer server_{Behaviour::kDropAtAccept};
};

// No file can get larger than that, as if the disk were full.
void limitFileSize(pid_t process, rlim_t limit) {
  rlimit limits{};
  ASSERT_EQ(prlimit(process, RLIMIT_FSIZE, nullptr, &limits), 0);
  limits.rlim_cur = std::min(limit, limits.rlim_max);
  ASSERT_EQ(prlimit(process, RLIMIT_FSIZE, &limits, nullptr), 0);
}

TEST_F(OfflineStorageTest, SurvivesAFullDisk) {
  std::signal(SIGXFSZ, SIG_IGN);  // The host inherits this; the write fails instead.
  Host host = start();
  std::signal(SIGXFSZ, SIG_DFL);
  track(host, "before");
  host.drain();
  limitFileSize(host.processId(), 200);
  track(host, "lost");
  host.drain();
  host.waitForLog("Error writing file at " + cache_);
  host.waitForLog("File too large");
  EXPECT_EQ(eventsOf(cachedRecords(state_)), Events{"before"});

  limitFileSize(host.processId(), RLIM_INFINITY);
  track(host, "after");
  host.drain();
  EXPECT_EQ(eventsOf(cachedRecords(state_)), (Events{"before", "after"}));
  EXPECT_EQ(host.finish(), 0);

  server_.behave(Behaviour::kAnswer);
  Host next = start();
  track(next, "fresh");
  next.drain();
  EXPECT_EQ(server_.answeredEvents(), (Events{"fresh", "before", "after"}));
  EXPECT_EQ(next.finish(), 0);
}

TEST_F(OfflineStorageTest, SurvivesAFolderThatBecomesUnusable) {
  namespace fs = std::filesystem;
  const std::string aside = folder_.path("aside");
  const std::pair<std::string, std::function<void()>> obstacles[] = {
      {"a file", [this] { write(cache_, "in the way"); }},
      {"a link to nowhere", [this] { fs::create_symlink("nowhere", cache_); }},
      {"a link to a folder",
       [this] {
         fs::create_directory(folder_.path("elsewhere"));
         fs::create_symlink(folder_.path("elsewhere"), cache_);
       }},
      {"a link to itself", [this] { fs::create_symlink(cache_, cache_); }},
  };
  Host host = start();
  track(host, "first");
  host.drain();
  Events kept{"first"};
  std::size_t told = 0;
  for (const auto& [name, putInTheWay] : obstacles) {
    SCOPED_TRACE(name);
    fs::rename(cache_, aside);
    putInTheWay();
    track(host, "lost");
    host.drain();
    host.waitForLog("Error writing file at ", ++told);
    fs::remove(cache_);
    fs::rename(aside, cache_);
    track(host, "after " + name);
    host.drain();
    kept.push_back("after " + name);
    EXPECT_EQ(eventsOf(cachedRecords(state_)), kept);
  }
  EXPECT_TRUE(fs::is_empty(folder_.path("elsewhere")));

  // Emptied altogether, with its parent.
  fs::remove_all(state_ + "/Caches");
  track(host, "anew");
  host.drain();
  EXPECT_EQ(eventsOf(cachedRecords(state_)), Events{"anew"});
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(OfflineStorageTest, PassesOverWhatIsNoRecord) {
  namespace fs = std::filesystem;
  // What is too large must not be read, not even up to the limit of 128 MiB. The growth is 4 MB,
  // most of it the network's.
  constexpr std::size_t kMemoryGrowth = std::size_t{64} << 20;
  const std::string url = "url=https://" + server_.address() + "/planted?app_id=1";
  const std::string record = "version=1.0.0\n" + url + "\ndata=";
  fs::create_directories(cache_);
  const auto path = [this](const std::string& name) { return cache_ + "/" + name; };

  write(path("1.000001.qn"), record + "sparse");
  fs::resize_file(path("1.000001.qn"), std::uintmax_t{1} << 30);
  ASSERT_EQ(mkfifo(path("1.000002.qn").c_str(), 0600), 0);
  fs::create_directory(path("1.000003.qn"));
  fs::create_symlink("nowhere", path("1.000004.qn"));
  write(folder_.path("linked.qn"), record + "linked");
  fs::create_symlink(folder_.path("linked.qn"), path("1.000005.qn"));
  write(path("1.000006.qn"), record + "\xff\xfe");
  write(path("1.000007.qn"), std::string(4096, '\0'));
  write(path("1.000008.qn"), "version=1.0.0\nurl=https://[::1\ndata=unparsable");
  write(path("1.000009.qn"),
        "version=1.0.0\nurl=http://" + server_.address() + "/planted?app_id=1\ndata=plain");
  write(path("1.000010.qn"), "");
  // What can still be read as a record is one.
  write(path("1.000011.qn"), "version=1.0.0\r\n" + url + "\r\ndata=crlf\r\n");
  write(path("1.000012.qn"), std::string("\0\1\n", 3) + record + "behind-nul");
  write(path("9.000001.qn"), record + "good");
  write(path("no number"), record + "no-number");
  const int planted = 14;

  server_.behave(Behaviour::kAnswer);
  Host host = start();
  host.drain();
  const std::size_t memoryBefore = peakMemory(host.processId());
  track(host, "fresh");
  host.drain();
  const std::size_t growth = peakMemory(host.processId()) - memoryBefore;
  if (kIsMemoryTelling) {
    EXPECT_LT(growth, kMemoryGrowth);
  }
  RecordProperty("memoryGrowth", std::to_string(growth));
  Events bodies;
  const auto answered = server_.answered();
  for (const Delivery& delivery : answered) bodies.push_back(delivery.body);
  ASSERT_FALSE(bodies.empty());
  EXPECT_EQ(eventOf(bodies[0]), "fresh");
  bodies.erase(bodies.begin());
  EXPECT_EQ(bodies, (Events{"crlf", "behind-nul", "good", "no-number"}));
  const auto entries = [](const std::string& folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
  };
  const int unsendable = 2;  // The URL that is none, and the one without TLS.
  EXPECT_EQ(entries(cache_ + "Unusable"), unsendable);
  EXPECT_EQ(entries(cache_), planted - unsendable - static_cast<std::ptrdiff_t>(bodies.size()));
  EXPECT_EQ(host.finish(), 0);
}

}  // namespace
}  // namespace e2e
