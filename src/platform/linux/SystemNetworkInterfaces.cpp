#include "platform/linux/SystemNetworkInterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

namespace quarnel {
namespace {

constexpr char kWifiName[] = "en0";

std::optional<std::vector<NetworkInterface>> systemInterfaces() {
  ifaddrs* first = nullptr;
  if (::getifaddrs(&first) != 0) return std::nullopt;
  std::vector<NetworkInterface> interfaces;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_name == nullptr) continue;
    interfaces.push_back({.name = entry->ifa_name,
                          .isIPv4 = entry->ifa_addr->sa_family == AF_INET,
                          .isLoopback = (entry->ifa_flags & IFF_LOOPBACK) != 0});
  }
  ::freeifaddrs(first);
  return interfaces;
}

}  // namespace

std::optional<std::vector<NetworkInterface>> SystemNetworkInterfaces::list() const {
  auto interfaces = systemInterfaces();
  if (!wifi_) return interfaces;
  if (!interfaces) interfaces.emplace();
  std::erase_if(*interfaces, [](const NetworkInterface& each) { return each.name == kWifiName; });
  if (*wifi_) interfaces->push_back({.name = kWifiName, .isIPv4 = true, .isLoopback = false});
  return interfaces;
}

}  // namespace quarnel
