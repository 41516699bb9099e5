#include <gtest/gtest.h>

#include "KeychainSupport.h"
#include "Support.h"
#include "platform/linux/keychain/SqliteKeychain.h"

namespace quarnel::test {

void expectKeychain(Keychain& keychain) {
  const Dictionary query = item("service", "account");
  const Dictionary others[] = {item("service2", "account"), item("service", "account2"),
                               with(query, kSecAttrAccessGroup, "group"),
                               with(query, kSecClass, "other")};
  EXPECT_EQ(find(keychain, query), "not found");
  EXPECT_EQ(keychain.update(query, withData("x")), KeychainStatus::kItemNotFound);
  EXPECT_EQ(keychain.remove(query), KeychainStatus::kItemNotFound);
  EXPECT_EQ(keychain.add(with(query, kSecValueData, bytes("first"))), KeychainStatus::kSuccess);
  EXPECT_EQ(keychain.add(with(query, kSecValueData, bytes("second"))),
            KeychainStatus::kDuplicateItem);
  EXPECT_EQ(find(keychain, query), "first");
  EXPECT_EQ(find(keychain, with(query, kSecAttrAccount, "account")), "first") << "text or bytes";
  for (const Dictionary& other : others) EXPECT_EQ(find(keychain, other), "not found");
  EXPECT_EQ(keychain.update(query, withData("")), KeychainStatus::kSuccess);
  EXPECT_EQ(find(keychain, query), "");
  const std::string binary("\0\xff\n", 3);
  EXPECT_EQ(keychain.update(query, withData(binary)), KeychainStatus::kSuccess);
  EXPECT_EQ(find(keychain, query), binary);
  EXPECT_EQ(keychain.remove(query), KeychainStatus::kSuccess);
  EXPECT_EQ(find(keychain, query), "not found");
}

namespace {

class KeychainTest : public testing::Test {
 protected:
  TemporaryDirectory directory_;
  const std::string path_ = directory_ / "made/keychain.db";
  RecordingLog log_;
  SqliteKeychain keychain_{path_, "com.example.app", log_};
};

TEST_F(KeychainTest, KeepsItemsInAFileOfTheUsers) {
  expectKeychain(keychain_);
  const Dictionary query = item("service", "account");
  EXPECT_EQ(keychain_.add(with(query, kSecValueData, bytes("kept"))), KeychainStatus::kSuccess);
  SqliteKeychain again(path_, "com.example.app", log_);
  EXPECT_EQ(find(again, query), "kept");
  SqliteKeychain otherApplication(path_, "com.example.other", log_);
  EXPECT_EQ(find(otherApplication, query), "not found");
  EXPECT_EQ(modeOf(path_), 0600U);
  EXPECT_EQ(modeOf(directory_ / "made"), 0700U);
}

TEST_F(KeychainTest, IncompleteQueriesFail) {
  const Dictionary complete = with(item("service", "account"), kSecValueData, bytes("x"));
  for (const std::string_view missing :
       {kSecClass, kSecAttrService, kSecAttrAccount, kSecValueData}) {
    Dictionary query = complete;
    query.remove(missing);
    EXPECT_EQ(keychain_.add(query), KeychainStatus::kFailure) << missing;
    EXPECT_EQ(keychain_.add(with(query, missing, 5)), KeychainStatus::kFailure) << missing;
  }
  EXPECT_EQ(find(keychain_, complete), "not found");
}

TEST_F(KeychainTest, RecoversFromWhatItCannotOpen) {
  const Dictionary query = with(item("service", "account"), kSecValueData, bytes("x"));
  writeFile(directory_ / "made", "in the way");
  EXPECT_EQ(keychain_.add(query), KeychainStatus::kFailure);
  EXPECT_EQ(find(keychain_, query), "failure");
  EXPECT_EQ(log_.lines().size(), 1U);
  std::filesystem::remove(directory_ / "made");
  std::filesystem::create_directory(directory_ / "made");
  writeFile(path_, "no database at all, but longer than a header of one hundred bytes" +
                       std::string(100, '!'));
  EXPECT_EQ(keychain_.add(query), KeychainStatus::kSuccess);
  EXPECT_EQ(find(keychain_, query), "x");
  EXPECT_EQ(log_.lines().size(), 2U);
}

}  // namespace
}  // namespace quarnel::test
