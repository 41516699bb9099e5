#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <chrono>
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

  // Several changes as one step for all threads and processes with the same settings, and
  // committed. `change` reads the newest values. It must not use the settings in another way, and
  // may be called again.
  class Edit {
   public:
    virtual ~Edit() = default;
    virtual std::optional<Value> get(std::string_view key) const = 0;
    virtual void set(std::string_view key, Value value) = 0;
  };
  using Change = std::function<void(Edit&)>;
  virtual void update(const Change& change) = 0;

  // The same for a thread that must not wait. What cannot be committed within the limit takes
  // effect in memory at once, and is committed later; false then. The store may keep `change`, so
  // it must own what it uses.
  virtual bool updateWithin(std::chrono::milliseconds limit, const Change& change) = 0;

  // Returns when everything set before survives the end of the process; false when the store could
  // not be written, and the values live in memory only.
  virtual bool synchronize() = 0;
};

}  // namespace quarnel
