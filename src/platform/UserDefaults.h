#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// The application's persistent settings. Callable from any thread; reads come from memory, and see
// what other processes have changed after the next write at the latest.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  virtual std::optional<Value> get(std::string_view key) const = 0;
  virtual void set(std::string_view key, Value value) = 0;
  virtual void remove(std::string_view key) = 0;
  // Replaces a value, absent or not, by what `change` makes of it and synchronises; one step for
  // all threads and processes with the same settings. `change` must not use the settings, and may
  // be called again. Returns the new value.
  using ValueChange = std::function<Value(const std::optional<Value>& stored)>;
  virtual Value modify(std::string_view key, const ValueChange& change) = 0;
  // Returns when everything set before survives the end of the process; false when the store could
  // not be written, and the values live in memory only.
  virtual bool synchronize() = 0;
};

}  // namespace quarnel
