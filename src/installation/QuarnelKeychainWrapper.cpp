#include "installation/QuarnelKeychainWrapper.h"

#include <utility>

namespace quarnel {

QuarnelKeychainWrapper::QuarnelKeychainWrapper(Keychain& keychain, std::string identifier,
                                               std::optional<std::string> group)
    : keychain_(keychain), identifier_(std::move(identifier)), accessGroup_(std::move(group)) {}

Dictionary QuarnelKeychainWrapper::prepareForKeychain(const std::string& key) const {
  const Bytes account(key.begin(), key.end());
  Dictionary query;
  query.set(std::string(kSecClass), kSecClassGenericPassword);
  query.set(std::string(kSecAttrGeneric), account);
  query.set(std::string(kSecAttrAccount), account);
  query.set(std::string(kSecAttrService), identifier_);
  query.set(std::string(kSecAttrAccessible), kSecAttrAccessibleAlwaysThisDeviceOnly);
  if (accessGroup_) query.set(std::string(kSecAttrAccessGroup), *accessGroup_);
  return query;
}

bool QuarnelKeychainWrapper::setObject(const std::string& key, Bytes data) {
  Dictionary attributes = prepareForKeychain(key);
  attributes.set(std::string(kSecValueData), std::move(data));
  return keychain_.add(attributes) == KeychainStatus::kSuccess;
}

std::optional<Bytes> QuarnelKeychainWrapper::getObject(const std::string& key) const {
  Dictionary query = prepareForKeychain(key);
  query.set(std::string(kSecMatchLimit), kSecMatchLimitOne);
  query.set(std::string(kSecReturnData), true);
  Bytes data;
  if (keychain_.copyMatching(query, &data) != KeychainStatus::kSuccess) return std::nullopt;
  return data;
}

bool QuarnelKeychainWrapper::update(const std::string& key, Bytes data) {
  const Dictionary changes{{std::string(kSecValueData), std::move(data)}};
  return keychain_.update(prepareForKeychain(key), changes) == KeychainStatus::kSuccess;
}

bool QuarnelKeychainWrapper::remove(const std::string& key) {
  return keychain_.remove(prepareForKeychain(key)) == KeychainStatus::kSuccess;
}

}  // namespace quarnel
