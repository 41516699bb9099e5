#pragma once

#import <Foundation/Foundation.h>

#include <utility>

namespace quarnel {

// Retains an object as long as it lives. The sources are compiled without automatic reference
// counting, which not every runtime that they are checked on has.
template <typename T>
class ObjcRef {
 public:
  ObjcRef() = default;
  explicit ObjcRef(T object) : object_([object retain]) {}
  ObjcRef(const ObjcRef& other) : object_([other.object_ retain]) {}
  ObjcRef(ObjcRef&& other) noexcept : object_(std::exchange(other.object_, nil)) {}
  ObjcRef& operator=(ObjcRef other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ObjcRef() { [object_ release]; }

  // For an object whose reference the caller owns.
  static ObjcRef adopt(T owned) {
    ObjcRef reference;
    reference.object_ = owned;
    return reference;
  }

  T get() const { return object_; }

 private:
  T object_ = nil;
};

}  // namespace quarnel
