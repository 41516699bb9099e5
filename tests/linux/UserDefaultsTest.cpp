#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <cmath>
#include <csignal>
#include <thread>

#include "Support.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/store/SqliteUserDefaults.h"

namespace quarnel::test {
namespace {

void executeSql(const std::string& path, const std::string& sql) {
  sqlite3* database = nullptr;
  ASSERT_EQ(::sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(::sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << ::sqlite3_errmsg(database);
  ::sqlite3_close(database);
}

class UserDefaultsTest : public testing::Test {
 protected:
  std::shared_ptr<SqliteUserDefaults> open() {
    return SqliteUserDefaults::make(path_, dispatcher_.makeUncountedQueue("flush"), log_);
  }

  TemporaryDirectory directory_;
  const std::string folder_ = directory_ / "Library/Preferences";
  const std::string path_ = folder_ + "/user-defaults.db";
  std::shared_ptr<RecordingLog> log_ = std::make_shared<RecordingLog>();
  LinuxDispatcher dispatcher_{nullptr, std::make_shared<PendingWork>(), log_};
};

TEST_F(UserDefaultsTest, ValuesComeBackWithTheirTypes) {
  Value deep = 1;
  for (int i = 0; i < 500; ++i) deep = Value::Array{deep};
  const std::pair<const char*, Value> cases[] = {
      {"true", true},
      {"integer", INT64_MIN},
      {"double", 0.1},
      {"whole double", 1457186820.0},
      {"infinity", HUGE_VAL},
      {"empty text", ""},
      {"text", std::string("nul \0 and \xc3\xa4", 10)},
      {"date", Date(std::chrono::microseconds(-1))},
      {"empty bytes", Bytes{}},
      {"bytes", Bytes{0, 255, 1}},
      {"array", Value::Array{1, 2.5, "x", nullptr}},
      {"dictionary", Dictionary{{"qn", Dictionary{}}, {"a", true}}},
      {"deep", deep},
      {"", "the empty key"},
  };
  {
    const auto defaults = open();
    for (const auto& [key, value] : cases) defaults->set(key, value);
    defaults->set("NaN", std::nan(""));
    defaults->set("removed", 1);
    defaults->set("nothing", 1);
    EXPECT_TRUE(defaults->synchronize());
    defaults->remove("removed");
    defaults->set("nothing", nullptr);
    EXPECT_FALSE(defaults->get("removed"));
    EXPECT_TRUE(defaults->synchronize());
  }
  const auto defaults = open();
  for (const auto& [key, value] : cases) {
    const auto stored = defaults->get(key);
    EXPECT_TRUE(stored && *stored == value) << key;
  }
  const auto nan = defaults->get("NaN");
  EXPECT_TRUE(nan && nan->number() && std::isnan(*nan->number()));
  EXPECT_FALSE(defaults->get("removed"));
  EXPECT_FALSE(defaults->get("nothing"));
  EXPECT_EQ(modeOf(path_), 0600U);
  EXPECT_EQ(modeOf(path_ + "-wal"), 0600U);
  EXPECT_EQ(modeOf(folder_), 0700U);
  EXPECT_TRUE(log_->lines().empty());
}

TEST_F(UserDefaultsTest, StartsAfreshBesideAnUnusableFile) {
  const auto damage = [this](std::size_t at, const std::string& bytes) {
    open()->set("old", std::string(20000, 'x'));
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(at));
    file << bytes;
  };
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"garbage", [&] { writeFile(path_, std::string(5000, 'g')); }},
      {"damaged page", [&] { damage(4096, std::string(3000, '\xff')); }},
      {"truncated",
       [&] {
         damage(0, "");
         std::filesystem::resize_file(path_, 8192);
       }},
      {"other table", [&] { executeSql(path_, "CREATE TABLE defaults(a, b)"); }},
      {"view", [&] { executeSql(path_, "CREATE VIEW defaults AS SELECT 1 AS key"); }},
      {"directory", [&] { std::filesystem::create_directory(path_); }},
      {"FIFO", [&] { ::mkfifo(path_.c_str(), 0600); }},
      {"dangling link", [&] { std::filesystem::create_symlink("/nonexistent/x", path_); }},
  };
  for (const auto& [what, spoil] : cases) {
    SCOPED_TRACE(what);
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    spoil();
    const std::size_t linesBefore = log_->lines().size();
    {
      const auto defaults = open();
      EXPECT_FALSE(defaults->get("old"));
      defaults->set("new", 1);
      EXPECT_TRUE(defaults->synchronize());
    }
    EXPECT_EQ(open()->get("new"), Value(1));
    EXPECT_EQ(log_->lines().size(), linesBefore + 1);
    int aside = 0;
    for (const std::string& name : namesIn(folder_)) {
      aside += name.rfind("user-defaults.db.corrupt-", 0) == 0 &&
               name.find('-', 25) == std::string::npos;
    }
    EXPECT_EQ(aside, 1);
  }
}

TEST_F(UserDefaultsTest, IgnoresRowsThatAreNotWhatTheySay) {
  open()->set("good", 1);
  executeSql(path_,
             "INSERT INTO defaults VALUES('unknown', 'colour', 1), ('mismatch', 'integer', 'x'),"
             "('null', 'text', NULL), ('blob', 'text', x'00'), ('json', 'json', '{\"a\":'),"
             "('deep', 'json', printf('%.*c', 100000, '[')), ('real', 'boolean', 0.5)");
  const auto defaults = open();
  for (const char* key : {"unknown", "mismatch", "null", "blob", "json", "deep", "real"}) {
    EXPECT_FALSE(defaults->get(key)) << key;
  }
  EXPECT_EQ(defaults->get("good"), Value(1));
}

TEST_F(UserDefaultsTest, LivesInMemoryUntilTheFileCanBeWritten) {
  writeFile(directory_ / "Library", "in the way");
  const auto defaults = open();
  defaults->set("key", "value");
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_EQ(defaults->get("key"), Value("value"));
  EXPECT_EQ(log_->lines().size(), 1U) << "a lasting failure is told once";
  std::filesystem::remove(directory_ / "Library");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(open()->get("key"), Value("value"));
}

TEST_F(UserDefaultsTest, WritesEverythingAgainWhenTheFileIsGone) {
  const auto defaults = open();
  defaults->set("early", 1);
  ASSERT_TRUE(defaults->synchronize());
  std::filesystem::remove_all(directory_ / "Library");
  defaults->set("late", 2);
  ASSERT_TRUE(defaults->synchronize());
  EXPECT_EQ(open()->get("early"), Value(1));
  EXPECT_EQ(open()->get("late"), Value(2));
}

TEST_F(UserDefaultsTest, SeveralUsersOfOneFileKeepEachOthersKeys) {
  constexpr int kUsers = 4;
  constexpr int kRounds = 25;
  std::vector<std::thread> users;
  for (int user = 0; user < kUsers; ++user) {
    users.emplace_back([this, user] {
      const auto defaults = open();
      defaults->get("load");
      for (int round = 0; round < kRounds; ++round) {
        defaults->set("key " + std::to_string(user) + " " + std::to_string(round), round);
        EXPECT_TRUE(defaults->synchronize());
      }
    });
  }
  for (std::thread& user : users) user.join();
  const auto defaults = open();
  for (int user = 0; user < kUsers; ++user) {
    for (int round = 0; round < kRounds; ++round) {
      EXPECT_EQ(defaults->get("key " + std::to_string(user) + " " + std::to_string(round)),
                Value(round));
    }
  }
  EXPECT_TRUE(log_->lines().empty());
}

TEST_F(UserDefaultsTest, CommitsOfItsOwnAccord) {
  const auto defaults = open();
  defaults->set("key", 1);
  // A second is promised; the rest is for busy machines.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  bool committed = false;
  while (!committed && std::chrono::steady_clock::now() < deadline) {
    committed = open()->get("key").has_value();
  }
  EXPECT_TRUE(committed);
}

// The child runs the test anew up to the death, so the directory's name goes by the environment.
std::string directoryForChild(const TemporaryDirectory& own) {
  ::setenv(kParentVariable, own.path().c_str(), 0);
  return ::getenv(kParentVariable);
}

TEST_F(UserDefaultsTest, KeepsWhatItPromisedWhenTheProcessEnds) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string path = directoryForChild(directory_) + "/defaults.db";
  const auto openHere = [&] {
    return SqliteUserDefaults::make(path, dispatcher_.makeUncountedQueue("flush"), log_);
  };
  EXPECT_EXIT(
      {
        static auto* const defaults = new std::shared_ptr(openHere());
        (*defaults)->set("synchronised", 1);
        (*defaults)->synchronize();
        ::raise(SIGKILL);
      },
      testing::KilledBySignal(SIGKILL), "");
  EXPECT_EXIT(
      {
        static auto* const defaults = new std::shared_ptr(openHere());
        (*defaults)->set("at exit", 2);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  ::unsetenv(kParentVariable);
  EXPECT_EQ(openHere()->get("synchronised"), Value(1));
  EXPECT_EQ(openHere()->get("at exit"), Value(2));
}

}  // namespace
}  // namespace quarnel::test
