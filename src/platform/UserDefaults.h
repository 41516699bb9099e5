#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// The application's persistent settings. Callable from any thread; reads come from memory.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  virtual std::optional<Value> get(std::string_view key) const = 0;
  virtual void set(std::string_view key, Value value) = 0;
  virtual void remove(std::string_view key) = 0;
  // Returns when everything set before survives the end of the process; false when the store could
  // not be written, and the values live in memory only.
  virtual bool synchronize() = 0;
};

}  // namespace quarnel
