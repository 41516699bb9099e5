// The keychain: items in a property list, outside of the application's own files.
#import <Security/Security.h>

#include <atomic>
#include <mutex>
#include <string>

#include "Doubles.h"

namespace {

std::mutex mutex;
std::atomic<int> forcedStatus = 0;

std::string path;

NSMutableArray* items() {
  NSArray* const stored =
      [NSArray arrayWithContentsOfFile:[NSString stringWithUTF8String:path.c_str()]];
  return stored != nil ? [[stored mutableCopy] autorelease] : [NSMutableArray array];
}

void save(NSArray* all) {
  [all writeToFile:[NSString stringWithUTF8String:path.c_str()] atomically:YES];
}

// An item is found by class, account, service and access group.
NSUInteger indexOf(NSDictionary* query, NSArray* all) {
  for (NSUInteger i = 0; i < [all count]; ++i) {
    NSDictionary* const item = [all objectAtIndex:i];
    bool isSame = true;
    for (NSString* key in @[ @"class", @"acct", @"svce", @"agrp" ]) {
      id const wanted = [query objectForKey:key];
      id const has = [item objectForKey:key];
      if (wanted != has && ![wanted isEqual:has]) isSame = false;
    }
    if (isSame) return i;
  }
  return NSNotFound;
}

}  // namespace

namespace doubles {

void setKeychainFile(const std::string& file) { path = file; }
void setKeychainStatus(int status) { forcedStatus = status; }

}  // namespace doubles

OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef*) {
  const std::lock_guard lock(mutex);
  if (forcedStatus != 0) return forcedStatus;
  NSMutableArray* const all = items();
  if (indexOf((NSDictionary*)attributes, all) != NSNotFound) return errSecDuplicateItem;
  [all addObject:(NSDictionary*)attributes];
  save(all);
  return errSecSuccess;
}

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  const std::lock_guard lock(mutex);
  if (forcedStatus != 0) return forcedStatus;
  NSArray* const all = items();
  const NSUInteger index = indexOf((NSDictionary*)query, all);
  if (index == NSNotFound) return errSecItemNotFound;
  if (result != nullptr) *result = [[[all objectAtIndex:index] objectForKey:@"v_Data"] retain];
  return errSecSuccess;
}

OSStatus SecItemUpdate(CFDictionaryRef query, CFDictionaryRef changes) {
  const std::lock_guard lock(mutex);
  if (forcedStatus != 0) return forcedStatus;
  NSMutableArray* const all = items();
  const NSUInteger index = indexOf((NSDictionary*)query, all);
  if (index == NSNotFound) return errSecItemNotFound;
  NSMutableDictionary* const item = [[[all objectAtIndex:index] mutableCopy] autorelease];
  [item addEntriesFromDictionary:(NSDictionary*)changes];
  [all replaceObjectAtIndex:index withObject:item];
  save(all);
  return errSecSuccess;
}

OSStatus SecItemDelete(CFDictionaryRef query) {
  const std::lock_guard lock(mutex);
  if (forcedStatus != 0) return forcedStatus;
  NSMutableArray* const all = items();
  const NSUInteger index = indexOf((NSDictionary*)query, all);
  if (index == NSNotFound) return errSecItemNotFound;
  [all removeObjectAtIndex:index];
  save(all);
  return errSecSuccess;
}
