#pragma once

#include <string>

#include "platform/Keychain.h"

namespace quarnel::test {

inline Bytes bytes(const std::string& text) { return {text.begin(), text.end()}; }

inline Dictionary item(const std::string& service, const std::string& account) {
  return {{std::string(kSecClass), kSecClassGenericPassword},
          {std::string(kSecAttrGeneric), bytes(account)},
          {std::string(kSecAttrAccount), bytes(account)},
          {std::string(kSecAttrService), service},
          {std::string(kSecAttrAccessible), kSecAttrAccessibleAlwaysThisDeviceOnly}};
}

inline Dictionary with(Dictionary query, std::string_view attribute, Value value) {
  query.set(std::string(attribute), std::move(value));
  return query;
}

inline Dictionary withData(const std::string& data) { return with({}, kSecValueData, bytes(data)); }

inline std::string find(Keychain& keychain, const Dictionary& query) {
  Bytes data;
  switch (keychain.copyMatching(query, &data)) {
    case KeychainStatus::kSuccess:
      return {data.begin(), data.end()};
    case KeychainStatus::kItemNotFound:
      return "not found";
    default:
      return "failure";
  }
}

// What every keychain does; it is empty before and after.
void expectKeychain(Keychain& keychain);

}  // namespace quarnel::test
