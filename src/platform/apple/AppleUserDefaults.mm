#include "platform/apple/AppleUserDefaults.h"

#include <utility>

#include "platform/apple/FoundationValue.h"

namespace quarnel {
namespace {

NSUserDefaults* defaults() { return [NSUserDefaults standardUserDefaults]; }

std::optional<Value> read(std::string_view key) {
  @autoreleasepool {
    id const object = [defaults() objectForKey:stringFrom(key)];
    if (object == nil) return std::nullopt;
    return valueFrom(object);
  }
}

void write(std::string_view key, const Value& value) {
  @autoreleasepool {
    id const object = objectFrom(value, NullAs::kNothing);
    if (object == nil) return;
    [defaults() setObject:object forKey:stringFrom(key)];
  }
}

class DirectEdit final : public UserDefaults::Edit {
 public:
  std::optional<Value> get(std::string_view key) const override { return read(key); }
  void set(std::string_view key, Value value) override { write(key, value); }
};

}  // namespace

std::optional<Value> AppleUserDefaults::get(std::string_view key) const { return read(key); }

void AppleUserDefaults::set(std::string_view key, Value value) { write(key, value); }

void AppleUserDefaults::remove(std::string_view key) {
  @autoreleasepool {
    [defaults() removeObjectForKey:stringFrom(key)];
  }
}

void AppleUserDefaults::update(const Change& change) {
  {
    const std::lock_guard lock(mutex_);
    DirectEdit edit;
    change(edit);
  }
  synchronize();
}

// Other changes hold the lock for microseconds, so the limit is kept without a look at it.
bool AppleUserDefaults::updateWithin(std::chrono::milliseconds, const Change& change) {
  const std::lock_guard lock(mutex_);
  DirectEdit edit;
  change(edit);
  return true;
}

bool AppleUserDefaults::synchronize() {
  @autoreleasepool {
    return [defaults() synchronize];
  }
}

}  // namespace quarnel
