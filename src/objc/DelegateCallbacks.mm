#include "objc/DelegateCallbacks.h"

#include "platform/apple/FoundationValue.h"

namespace quarnel::objc {
namespace {

// Asks again, as a delegate may change what it responds to.
template <typename Argument>
std::function<void(const Argument&)> call(const std::shared_ptr<WeakReference>& delegate,
                                          SEL selector) {
  if (![delegate->load().get() respondsToSelector:selector]) return nullptr;
  return [delegate, selector](const Argument& argument) {
    @autoreleasepool {
      const ObjcRef<id> object = delegate->load();
      if (![object.get() respondsToSelector:selector]) return;
      guarded("delegate:",
              [&] { [object.get() performSelector:selector withObject:objectFrom(argument)]; });
    }
  };
}

}  // namespace

std::unique_ptr<Callbacks> callbacksOf(const std::shared_ptr<WeakReference>& delegate) {
  if (!delegate) return nullptr;
  auto callbacks = std::make_unique<Callbacks>();
  callbacks->onConversionDataReceived =
      call<Dictionary>(delegate, @selector(onConversionDataReceived:));
  callbacks->onConversionDataRequestFailure =
      call<Error>(delegate, @selector(onConversionDataRequestFailure:));
  callbacks->onAppOpenAttribution = call<Dictionary>(delegate, @selector(onAppOpenAttribution:));
  callbacks->isPresent = [delegate] { return delegate->load().get() != nil; };
  return callbacks;
}

}  // namespace quarnel::objc
