#pragma once

#import <Foundation/Foundation.h>

#include "platform/apple/ObjcRef.h"

// The runtime's own; the compiler would call them, had it been asked for weak references.
extern "C" {
id objc_initWeak(id* location, id object);
id objc_loadWeakRetained(id* location);
void objc_destroyWeak(id* location);
}

namespace quarnel::objc {

// An object that is not kept alive.
class WeakReference {
 public:
  explicit WeakReference(id object) { objc_initWeak(&location_, object); }
  WeakReference(const WeakReference&) = delete;
  WeakReference& operator=(const WeakReference&) = delete;
  ~WeakReference() { objc_destroyWeak(&location_); }

  // The object, kept alive by the result; nil once it is gone.
  ObjcRef<id> load() const { return ObjcRef<id>::adopt(objc_loadWeakRetained(&location_)); }

 private:
  mutable id location_ = nil;
};

}  // namespace quarnel::objc
