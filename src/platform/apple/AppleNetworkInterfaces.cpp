#include "platform/apple/AppleNetworkInterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include <memory>

namespace quarnel {

std::optional<std::vector<NetworkInterface>> AppleNetworkInterfaces::list() const {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return std::nullopt;
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owned(first, &::freeifaddrs);
  std::vector<NetworkInterface> interfaces;
  for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
    interfaces.push_back(
        {.name = each->ifa_name,
         .isIPv4 = each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET,
         .isLoopback = (each->ifa_flags & IFF_LOOPBACK) != 0});
  }
  return interfaces;
}

}  // namespace quarnel
