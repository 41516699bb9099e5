#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quarnel {

// One address of one network interface.
struct NetworkInterface {
  std::string name;
  bool isIPv4 = false;
  bool isLoopback = false;
};

class NetworkInterfaces {
 public:
  virtual ~NetworkInterfaces() = default;
  // Absent when the system does not tell. Callable from any thread.
  virtual std::optional<std::vector<NetworkInterface>> list() const = 0;
};

}  // namespace quarnel
