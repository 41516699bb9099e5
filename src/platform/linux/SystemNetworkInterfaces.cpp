#include "platform/linux/SystemNetworkInterfaces.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstring>

#include "platform/linux/FileDescriptor.h"

namespace quarnel {
namespace {

constexpr char kWifiName[] = "en0";

bool isLoopback(int socket, ifreq request) {
  return ::ioctl(socket, SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_LOOPBACK) != 0;
}

// Each report asks, so not with getifaddrs(), which has the kernel describe all there is to know of
// every interface and takes ten times as long. This tells of IPv4 addresses only.
std::optional<std::vector<NetworkInterface>> systemInterfaces() {
  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifconf addresses{};
  if (!socket.valid() || ::ioctl(socket.get(), SIOCGIFCONF, &addresses) != 0) return std::nullopt;
  std::vector<ifreq> requests(static_cast<std::size_t>(addresses.ifc_len) / sizeof(ifreq));
  addresses.ifc_req = requests.data();
  if (::ioctl(socket.get(), SIOCGIFCONF, &addresses) != 0) return std::nullopt;
  requests.resize(static_cast<std::size_t>(addresses.ifc_len) / sizeof(ifreq));
  std::vector<NetworkInterface> interfaces;
  interfaces.reserve(requests.size());
  for (const ifreq& each : requests) {
    interfaces.push_back({.name = std::string(each.ifr_name, ::strnlen(each.ifr_name, IFNAMSIZ)),
                          .isIPv4 = each.ifr_addr.sa_family == AF_INET,
                          .isLoopback = isLoopback(socket.get(), each)});
  }
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
