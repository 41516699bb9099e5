// The D-Bus client of libsystemd, loaded when it is first needed: a host without it loads the
// library all the same. Declared here, since its interface is fixed and building is not to need it
// either.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace quarnel {

struct SdBusLibrary {
  int (*newBus)(sd_bus**) = nullptr;
  int (*setAddress)(sd_bus*, const char*) = nullptr;
  int (*setBusClient)(sd_bus*, int) = nullptr;
  int (*start)(sd_bus*) = nullptr;
  int (*isReady)(sd_bus*) = nullptr;
  int (*process)(sd_bus*, sd_bus_message**) = nullptr;
  int (*wait)(sd_bus*, std::uint64_t microseconds) = nullptr;
  int (*call)(sd_bus*, sd_bus_message*, std::uint64_t microseconds, void* error,
              sd_bus_message** reply) = nullptr;
  sd_bus* (*closeUnref)(sd_bus*) = nullptr;

  int (*newMethodCall)(sd_bus*, sd_bus_message**, const char* destination, const char* path,
                       const char* interface, const char* member) = nullptr;
  int (*setAutoStart)(sd_bus_message*, int) = nullptr;
  int (*append)(sd_bus_message*, const char* types, ...) = nullptr;
  int (*appendArray)(sd_bus_message*, char type, const void*, std::size_t) = nullptr;
  int (*openContainer)(sd_bus_message*, char type, const char* contents) = nullptr;
  int (*closeContainer)(sd_bus_message*) = nullptr;
  int (*read)(sd_bus_message*, const char* types, ...) = nullptr;
  int (*readArray)(sd_bus_message*, char type, const void**, std::size_t*) = nullptr;
  int (*enterContainer)(sd_bus_message*, char type, const char* contents) = nullptr;
  int (*exitContainer)(sd_bus_message*) = nullptr;
  int (*skip)(sd_bus_message*, const char* types) = nullptr;
  sd_bus_message* (*unref)(sd_bus_message*) = nullptr;

  // Null when the host has no such library.
  static const SdBusLibrary* load();
};

// A connection of its own to a message bus, in which nothing takes longer than until the deadline.
// It starts no thread, raises no signal and shares nothing with the application's connections.
class BusConnection {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  struct MessageDeleter {
    const SdBusLibrary* library = nullptr;
    void operator()(sd_bus_message* message) const { library->unref(message); }
  };
  using Message = std::unique_ptr<sd_bus_message, MessageDeleter>;

  BusConnection(const SdBusLibrary& library, Deadline deadline)
      : library_(library), deadline_(deadline) {}
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;
  ~BusConnection();

  bool open(const std::string& address);

  // A call that does not start a service which is not running. Null on failure.
  Message newCall(const char* destination, const std::string& path, const char* interface,
                  const char* member);
  // The reply; null for an error, and when none came in time.
  Message call(const Message& message);

  // Whether it was the deadline that ended all this.
  bool isOverdue() const { return Clock::now() >= deadline_; }

 private:
  using Clock = std::chrono::steady_clock;

  std::uint64_t microsecondsLeft() const;

  const SdBusLibrary& library_;
  const Deadline deadline_;
  sd_bus* bus_ = nullptr;
};

}  // namespace quarnel
