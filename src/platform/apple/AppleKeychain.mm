#include "platform/apple/AppleKeychain.h"

#import <Security/Security.h>

#include <string>

#include "platform/apple/FoundationValue.h"

// The item must be readable while the device is locked, which newer systems advise against.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace quarnel {
namespace {

// Attribute keys and values are the platform's own texts, so they need no translation.
CFDictionaryRef attributesFrom(const Dictionary& dictionary) {
  return reinterpret_cast<CFDictionaryRef>(objectFrom(dictionary));
}

}  // namespace

KeychainStatus AppleKeychain::meaningOf(int status, const char* operation) {
  switch (status) {
    case errSecSuccess:
      return KeychainStatus::kSuccess;
    case errSecItemNotFound:
      return KeychainStatus::kItemNotFound;
    case errSecDuplicateItem:
      return KeychainStatus::kDuplicateItem;
    default:
      log_.write("Quarnel: the keychain refused " + std::string(operation) + " with status " +
                 std::to_string(status));
      return KeychainStatus::kFailure;
  }
}

KeychainStatus AppleKeychain::add(const Dictionary& attributes) {
  @autoreleasepool {
    return meaningOf(SecItemAdd(attributesFrom(attributes), nullptr), "to add an item");
  }
}

KeychainStatus AppleKeychain::copyMatching(const Dictionary& query, Bytes* data) {
  @autoreleasepool {
    CFTypeRef found = nullptr;
    const auto status = meaningOf(SecItemCopyMatching(attributesFrom(query), &found), "a query");
    const id object = [(id)found autorelease];
    if (status != KeychainStatus::kSuccess) return status;
    if (![object isKindOfClass:[NSData class]]) return KeychainStatus::kFailure;
    if (data != nullptr) *data = bytesFrom(object);
    return status;
  }
}

KeychainStatus AppleKeychain::update(const Dictionary& query, const Dictionary& changes) {
  @autoreleasepool {
    return meaningOf(SecItemUpdate(attributesFrom(query), attributesFrom(changes)),
                     "to update an item");
  }
}

KeychainStatus AppleKeychain::remove(const Dictionary& query) {
  @autoreleasepool {
    return meaningOf(SecItemDelete(attributesFrom(query)), "to delete an item");
  }
}

}  // namespace quarnel
