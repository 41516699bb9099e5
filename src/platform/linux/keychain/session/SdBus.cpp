#include "platform/linux/keychain/session/SdBus.h"

#include <dlfcn.h>

#include <algorithm>
#include <optional>

namespace quarnel {
namespace {

template <typename Function>
bool find(void* handle, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(::dlsym(handle, name));
  return function != nullptr;
}

std::optional<SdBusLibrary> loadLibrary() {
  // Never closed: it is needed until the process ends.
  void* const handle = ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return std::nullopt;
  SdBusLibrary library;
  const bool complete = find(handle, "sd_bus_new", library.newBus) &&
                        find(handle, "sd_bus_set_address", library.setAddress) &&
                        find(handle, "sd_bus_set_bus_client", library.setBusClient) &&
                        find(handle, "sd_bus_start", library.start) &&
                        find(handle, "sd_bus_is_ready", library.isReady) &&
                        find(handle, "sd_bus_process", library.process) &&
                        find(handle, "sd_bus_wait", library.wait) &&
                        find(handle, "sd_bus_call", library.call) &&
                        find(handle, "sd_bus_close_unref", library.closeUnref) &&
                        find(handle, "sd_bus_message_new_method_call", library.newMethodCall) &&
                        find(handle, "sd_bus_message_set_auto_start", library.setAutoStart) &&
                        find(handle, "sd_bus_message_append", library.append) &&
                        find(handle, "sd_bus_message_append_array", library.appendArray) &&
                        find(handle, "sd_bus_message_open_container", library.openContainer) &&
                        find(handle, "sd_bus_message_close_container", library.closeContainer) &&
                        find(handle, "sd_bus_message_read", library.read) &&
                        find(handle, "sd_bus_message_read_array", library.readArray) &&
                        find(handle, "sd_bus_message_enter_container", library.enterContainer) &&
                        find(handle, "sd_bus_message_exit_container", library.exitContainer) &&
                        find(handle, "sd_bus_message_skip", library.skip) &&
                        find(handle, "sd_bus_message_unref", library.unref);
  return complete ? std::optional(library) : std::nullopt;
}

}  // namespace

const SdBusLibrary* SdBusLibrary::load() {
  static const std::optional<SdBusLibrary> library = loadLibrary();
  return library ? &*library : nullptr;
}

BusConnection::~BusConnection() {
  if (bus_ != nullptr) library_.closeUnref(bus_);
}

std::uint64_t BusConnection::microsecondsLeft() const {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - Clock::now());
  // 0 would mean libsystemd's own time limit.
  return static_cast<std::uint64_t>(std::max<std::int64_t>(left.count(), 1));
}

bool BusConnection::open(const std::string& address) {
  if (library_.newBus(&bus_) < 0 || library_.setAddress(bus_, address.c_str()) < 0 ||
      library_.setBusClient(bus_, 1) < 0 || library_.start(bus_) < 0) {
    return false;
  }
  // The first call would wait for the bus's greeting too, but for a minute and a half.
  for (;;) {
    const int ready = library_.isReady(bus_);
    if (ready != 0) return ready > 0;
    if (isOverdue()) return false;
    const int processed = library_.process(bus_, nullptr);
    if (processed < 0) return false;
    if (processed == 0 && library_.wait(bus_, microsecondsLeft()) < 0) return false;
  }
}

BusConnection::Message BusConnection::newCall(const char* destination, const std::string& path,
                                              const char* interface, const char* member) {
  sd_bus_message* message = nullptr;
  library_.newMethodCall(bus_, &message, destination, path.c_str(), interface, member);
  if (message != nullptr) library_.setAutoStart(message, 0);
  return Message(message, MessageDeleter{&library_});
}

BusConnection::Message BusConnection::call(const Message& message) {
  sd_bus_message* reply = nullptr;
  if (message && !isOverdue()) {
    library_.call(bus_, message.get(), microsecondsLeft(), nullptr, &reply);
  }
  return Message(reply, MessageDeleter{&library_});
}

}  // namespace quarnel
