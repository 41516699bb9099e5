#include "platform/linux/keychain/SqliteKeychain.h"

#include <string_view>
#include <utility>

#include "platform/linux/keychain/KeychainAttribute.h"

namespace quarnel {
namespace {

constexpr char kTable[] =
    "CREATE TABLE items(class BLOB NOT NULL, service BLOB NOT NULL, account BLOB NOT NULL, "
    "access_group BLOB NOT NULL, generic BLOB, accessible BLOB, data BLOB NOT NULL, "
    "PRIMARY KEY(class, service, account, access_group)) WITHOUT ROWID";

// The first four parameters of every statement name the item.
#define QUARNEL_WHERE_ITEM \
  " WHERE class = ?1 AND service = ?2 AND account = ?3 AND access_group = ?4"
constexpr char kAdd[] =
    "INSERT OR IGNORE INTO items(class, service, account, access_group, data, generic, accessible)"
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)";
constexpr char kFind[] = "SELECT data FROM items" QUARNEL_WHERE_ITEM;
constexpr char kUpdate[] = "UPDATE items SET data = ?5" QUARNEL_WHERE_ITEM;
constexpr char kRemove[] = "DELETE FROM items" QUARNEL_WHERE_ITEM;
#undef QUARNEL_WHERE_ITEM

constexpr int kData = 5;
constexpr int kGeneric = 6;
constexpr int kAccessible = 7;

void bindBlob(const SqliteStatement& statement, int parameter, std::string_view bytes) {
  // A null pointer would be stored as NULL.
  ::sqlite3_bind_blob64(statement.get(), parameter, bytes.empty() ? "" : bytes.data(), bytes.size(),
                        SQLITE_TRANSIENT);
}

bool bindAttribute(const SqliteStatement& statement, int parameter, const Dictionary& attributes,
                   std::string_view name) {
  const auto value = keychainAttribute(attributes, name);
  if (value) bindBlob(statement, parameter, *value);
  return value.has_value();
}

}  // namespace

// kPowerLoss: items are written a few times in the life of an installation, and what is lost here
// cannot be made again.
SqliteKeychain::SqliteKeychain(std::string path, std::string ownAccessGroup, LogSink& log,
                               std::function<void()> whenSetAside)
    : ownAccessGroup_(std::move(ownAccessGroup)),
      log_(log),
      file_("keychain", std::move(path), {{kTable}}, SqliteFile::Durability::kPowerLoss,
            std::move(whenSetAside)) {}

bool SqliteKeychain::bindItem(const SqliteStatement& statement, const Dictionary& query) const {
  bindBlob(statement, 4, keychainAttribute(query, kSecAttrAccessGroup).value_or(ownAccessGroup_));
  return bindAttribute(statement, 1, query, kSecClass) &&
         bindAttribute(statement, 2, query, kSecAttrService) &&
         bindAttribute(statement, 3, query, kSecAttrAccount);
}

KeychainStatus SqliteKeychain::change(const Dictionary& query, const char* sql,
                                      const std::function<bool(const SqliteStatement&)>& bindRest,
                                      KeychainStatus whenUnchanged) {
  DeferredLog log(log_);
  const std::lock_guard lock(mutex_);
  if (!file_.open(log)) return KeychainStatus::kFailure;
  bool usable = true;
  int changed = 0;
  const auto run = [&](sqlite3* database) {
    SqliteStatement statement(database, sql);
    if (!statement.get()) return ::sqlite3_extended_errcode(database);
    usable = bindItem(statement, query) && bindRest(statement);
    const int code = usable ? statement.run() : SQLITE_OK;
    changed = ::sqlite3_changes(database);
    return code;
  };
  if (!file_.transact(run, log) || !usable) return KeychainStatus::kFailure;
  return changed > 0 ? KeychainStatus::kSuccess : whenUnchanged;
}

KeychainStatus SqliteKeychain::add(const Dictionary& attributes) {
  const auto bindRest = [&attributes](const SqliteStatement& statement) {
    bindAttribute(statement, kGeneric, attributes, kSecAttrGeneric);
    bindAttribute(statement, kAccessible, attributes, kSecAttrAccessible);
    return bindAttribute(statement, kData, attributes, kSecValueData);
  };
  return change(attributes, kAdd, bindRest, KeychainStatus::kDuplicateItem);
}

KeychainStatus SqliteKeychain::update(const Dictionary& query, const Dictionary& changes) {
  const auto bindRest = [&changes](const SqliteStatement& statement) {
    return bindAttribute(statement, kData, changes, kSecValueData);
  };
  return change(query, kUpdate, bindRest, KeychainStatus::kItemNotFound);
}

KeychainStatus SqliteKeychain::remove(const Dictionary& query) {
  const auto nothing = [](const SqliteStatement&) { return true; };
  return change(query, kRemove, nothing, KeychainStatus::kItemNotFound);
}

KeychainStatus SqliteKeychain::copyMatching(const Dictionary& query, Bytes* data) {
  DeferredLog log(log_);
  const std::lock_guard lock(mutex_);
  if (!file_.open(log)) return KeychainStatus::kFailure;
  auto status = KeychainStatus::kFailure;
  const auto find = [&](sqlite3* database) {
    SqliteStatement statement(database, kFind);
    if (!statement.get()) return ::sqlite3_extended_errcode(database);
    if (!bindItem(statement, query)) return SQLITE_OK;
    const int code = ::sqlite3_step(statement.get());
    if (code == SQLITE_DONE) {
      status = KeychainStatus::kItemNotFound;
      return SQLITE_OK;
    }
    if (code != SQLITE_ROW) return code;
    const auto* bytes = static_cast<const std::uint8_t*>(::sqlite3_column_blob(statement.get(), 0));
    const int size = ::sqlite3_column_bytes(statement.get(), 0);
    data->assign(bytes, bytes + size);
    status = KeychainStatus::kSuccess;
    return SQLITE_OK;
  };
  return file_.read(find, log) ? status : KeychainStatus::kFailure;
}

}  // namespace quarnel
