// The runtime's weak references, which GNUstep's runtime does not have: a weakly held object clears
// its references when it is deallocated.
#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <mutex>
#include <set>
#include <unordered_map>

namespace {

struct References {
  std::mutex mutex;
  std::unordered_map<id, std::set<id*>> of;
};

References& references() {
  static auto* const references = new References;
  return *references;
}

IMP originalDealloc = nullptr;

void deallocate(id object, SEL selector) {
  {
    const std::lock_guard lock(references().mutex);
    const auto found = references().of.find(object);
    if (found != references().of.end()) {
      for (id* const location : found->second) *location = nil;
      references().of.erase(found);
    }
  }
  reinterpret_cast<void (*)(id, SEL)>(originalDealloc)(object, selector);
}

void instrument() {
  static const bool isDone = [] {
    Method const method = class_getInstanceMethod([NSObject class], @selector(dealloc));
    originalDealloc = method_setImplementation(method, reinterpret_cast<IMP>(&deallocate));
    return true;
  }();
  static_cast<void>(isDone);
}

}  // namespace

extern "C" id objc_initWeak(id* location, id object) {
  instrument();
  const std::lock_guard lock(references().mutex);
  *location = object;
  if (object != nil) references().of[object].insert(location);
  return object;
}

extern "C" id objc_loadWeakRetained(id* location) {
  const std::lock_guard lock(references().mutex);
  return [*location retain];
}

extern "C" void objc_destroyWeak(id* location) {
  const std::lock_guard lock(references().mutex);
  const auto found = references().of.find(*location);
  if (found != references().of.end()) found->second.erase(location);
  *location = nil;
}
