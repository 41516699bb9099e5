// What the library uses of the keychain.
#pragma once

#import <Foundation/Foundation.h>

typedef int32_t OSStatus;
typedef const void *CFTypeRef;
typedef const struct __CFDictionary *CFDictionaryRef;
typedef const struct __CFString *CFStringRef;

enum {
  errSecSuccess = 0,
  errSecDuplicateItem = -25299,
  errSecItemNotFound = -25300,
  errSecInteractionNotAllowed = -25308,
  errSecMissingEntitlement = -34018,
};

#ifdef __cplusplus
extern "C" {
#endif
extern const CFStringRef kSecClass;
extern const CFStringRef kSecClassGenericPassword;
extern const CFStringRef kSecAttrGeneric;
extern const CFStringRef kSecAttrAccount;
extern const CFStringRef kSecAttrService;
extern const CFStringRef kSecAttrAccessible;
extern const CFStringRef kSecAttrAccessibleAlwaysThisDeviceOnly;
extern const CFStringRef kSecAttrAccessGroup;
extern const CFStringRef kSecValueData;
extern const CFStringRef kSecMatchLimit;
extern const CFStringRef kSecMatchLimitOne;
extern const CFStringRef kSecReturnData;

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef *result);
OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef *result);
OSStatus SecItemUpdate(CFDictionaryRef query, CFDictionaryRef attributesToUpdate);
OSStatus SecItemDelete(CFDictionaryRef query);
#ifdef __cplusplus
}
#endif
