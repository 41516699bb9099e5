// The counters' database: what living, ended and killed processes leave there.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/file.h>

#include <filesystem>
#include <fstream>

#include "Support.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/store/CounterTable.h"
#include "util/Limits.h"

namespace quarnel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class CountersTest : public ::testing::Test {
 protected:
  // As another process has it: each has a mark of its own, and its end is that of its process.
  std::shared_ptr<CounterTable> open() {
    return CounterTable::make(directory_.path(), dispatcher_.makeUncountedQueue("counters"), log_);
  }
  static bool save(const std::shared_ptr<CounterTable>& table, milliseconds limit = kPatience) {
    return table->saveUntil(steady_clock::now() + limit);
  }
  static void count(const std::shared_ptr<CounterTable>& table, Tally tally, int times) {
    for (int i = 0; i < times; ++i) table->increment(tally);
  }
  static std::string numbersOf(const CounterStore::Totals& totals) {
    std::string text;
    for (const std::uint64_t number : totals) text += std::to_string(number) + ' ';
    return text;
  }
  // In the order of the tallies; the rest is zero.
  static std::string numbers(std::initializer_list<std::uint64_t> first, std::uint64_t withProcess,
                             std::uint64_t deleted = 0, std::uint64_t setAside = 0) {
    CounterStore::Totals totals{};
    std::copy(first.begin(), first.end(), totals.begin());
    totals[Tally::kWithProcess] = withProcess;
    totals[Tally::kDeletedFromCache] = deleted;
    totals[Tally::kStoreSetAside] = setAside;
    return numbersOf(totals);
  }
  std::string stored() { return numbersOf(open()->totals()); }
  std::size_t marks() const {
    using std::filesystem::directory_iterator;
    return std::distance(directory_iterator(directory_ / "report-processes"), directory_iterator());
  }

  TemporaryDirectory directory_;
  std::shared_ptr<RecordingLog> log_ = std::make_shared<RecordingLog>();
  LinuxDispatcher dispatcher_{nullptr, std::make_shared<PendingWork>(), log_};
};

TEST_F(CountersTest, OnlyWhatEndedWithAProcessIsLostWithIt) {
  auto first = open();
  auto second = open();
  count(first, Tally::kAccepted, 5);
  count(first, Tally::kDelivered, 1);
  count(first, Tally::kNotDue, 1);
  ASSERT_TRUE(save(first));
  count(second, Tally::kAccepted, 4);
  ASSERT_TRUE(save(second));
  EXPECT_EQ(numbersOf(second->totals()), numbers({9, 1, 0, 1}, 0)) << "both live";
  EXPECT_EQ(numbersOf(first->totals()), numbers({5, 1, 0, 1}, 0));

  // What was not saved goes with the process, and so does its acceptance.
  count(first, Tally::kAccepted, 100);
  first.reset();
  EXPECT_EQ(stored(), numbers({9, 1, 0, 1}, 3)) << "killed";
  EXPECT_EQ(stored(), numbers({9, 1, 0, 1}, 3)) << "counted once";

  // The other goes on, and its reports come to their end.
  count(second, Tally::kDelivered, 1);
  count(second, Tally::kCached, 3);
  ASSERT_TRUE(save(second));
  EXPECT_EQ(numbersOf(second->totals()), numbers({9, 1, 0, 2, 0, 3}, 3));
  second.reset();
  EXPECT_EQ(stored(), numbers({9, 1, 0, 2, 0, 3}, 3));
  EXPECT_EQ(log_->lines(), std::vector<std::string>());
}

TEST_F(CountersTest, AMarkThatSomebodyDeletesIsMadeAnew) {
  auto table = open();
  count(table, Tally::kAccepted, 2);
  ASSERT_TRUE(save(table));
  std::filesystem::remove_all(directory_ / "report-processes");
  ASSERT_TRUE(save(table));
  EXPECT_EQ(stored(), numbers({2}, 0)) << "it lives";
  std::filesystem::remove_all(directory_ / "report-processes");
  EXPECT_EQ(stored(), numbers({2}, 2)) << "as far as one can see it has ended";
  count(table, Tally::kDelivered, 2);
  ASSERT_TRUE(save(table));
  table.reset();
  EXPECT_EQ(stored(), numbers({2, 0, 0, 2}, 0)) << "it gives back what was not lost";
  EXPECT_LE(marks(), 1U);
}

TEST_F(CountersTest, RecordsThatSomebodyDeletesAreLostByThatReason) {
  const auto table = open();
  count(table, Tally::kAccepted, 5);
  count(table, Tally::kCached, 5);
  count(table, Tally::kReplayed, 1);
  table->recordsListed(4);
  table->increment(Tally::kCached);  // One more after the listing.
  ASSERT_TRUE(save(table));
  EXPECT_EQ(table->totals()[Tally::kDeletedFromCache], 0U);
  table->recordsListed(2);
  ASSERT_TRUE(save(table));
  EXPECT_EQ(table->totals()[Tally::kDeletedFromCache], 3U);
  table->recordsListed(2);
  ASSERT_TRUE(save(table));
  EXPECT_EQ(table->totals()[Tally::kDeletedFromCache], 3U) << "counted once";

  const auto other = open();
  ASSERT_TRUE(save(other));
  table->recordsListed(0);
  ASSERT_TRUE(save(table));
  EXPECT_EQ(table->totals()[Tally::kDeletedFromCache], 3U) << "the other may have sent them";
}

TEST_F(CountersTest, SavesByItselfSoonAfterAReportWasAccepted) {
  const auto table = open();
  table->increment(Tally::kAccepted);
  table->saveSoon();
  const auto deadline = steady_clock::now() + kPatience;
  while (open()->totals()[Tally::kAccepted] != 1 && steady_clock::now() < deadline) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  EXPECT_EQ(stored(), numbers({1}, 0));
}

TEST_F(CountersTest, ALockThatSomebodyKeepsHoldsNobodyUp) {
  const auto table = open();
  ASSERT_TRUE(save(table));
  const auto closed = [](sqlite3* database) { ::sqlite3_close(database); };
  sqlite3* opened = nullptr;
  ASSERT_EQ(::sqlite3_open((directory_ / "report-counts.db").c_str(), &opened), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(closed)> holder(opened, closed);
  ASSERT_EQ(::sqlite3_exec(opened, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  count(table, Tally::kAccepted, 3);
  EXPECT_FALSE(save(table, milliseconds(5)));  // Without a limit it would never return.
  EXPECT_EQ(numbersOf(table->totals()), numbers({3}, 0));
  EXPECT_EQ(numbersOf(open()->totals()), numbers({}, 0)) << "not known yet";
  ASSERT_EQ(::sqlite3_exec(opened, "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_TRUE(save(table));
  EXPECT_EQ(stored(), numbers({3}, 0));
}

TEST_F(CountersTest, WhatCannotBeUsedIsSetAsideAndCounted) {
  std::ofstream(directory_ / "report-counts.db") << std::string(4096, 'x');
  const auto table = open();
  table->increment(Tally::kAccepted);
  ASSERT_TRUE(save(table));
  EXPECT_EQ(numbersOf(table->totals()), numbers({1}, 0, 0, 1));
  ASSERT_TRUE(save(table));
  EXPECT_EQ(stored(), numbers({1}, 0, 0, 1));
  EXPECT_EQ(log_->lines().size(), 1U);
}

}  // namespace
}  // namespace quarnel::test
