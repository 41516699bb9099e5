#pragma once

#include <mutex>
#include <string>

#include "platform/Keychain.h"
#include "platform/LogSink.h"
#include "platform/linux/store/SqliteFile.h"

namespace quarnel {

// Keychain items in an SQLite file that only the user can read. Applications of one user may share
// the file: an item without an access group belongs to the application's own.
class SqliteKeychain final : public Keychain {
 public:
  SqliteKeychain(std::string path, std::string ownAccessGroup, LogSink& log,
                 std::function<void()> whenSetAside = {});

  KeychainStatus add(const Dictionary& attributes) override;
  KeychainStatus copyMatching(const Dictionary& query, Bytes* data) override;
  KeychainStatus update(const Dictionary& query, const Dictionary& changes) override;
  KeychainStatus remove(const Dictionary& query) override;

 private:
  bool bindItem(const SqliteStatement& statement, const Dictionary& query) const;
  KeychainStatus change(const Dictionary& query, const char* sql,
                        const std::function<bool(const SqliteStatement&)>& bindRest,
                        KeychainStatus whenUnchanged);

  const std::string ownAccessGroup_;
  LogSink& log_;
  std::mutex mutex_;
  SqliteFile file_;
};

}  // namespace quarnel
