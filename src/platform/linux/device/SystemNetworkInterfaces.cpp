#include "platform/linux/device/SystemNetworkInterfaces.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstring>

#include "platform/linux/store/FileDescriptor.h"

namespace quarnel {
namespace {

constexpr char kWifiName[] = "en0";

constexpr std::size_t kUsualAddresses = 16;

bool isLoopback(const ifreq& address) {
  sockaddr_in internet{};
  std::memcpy(&internet, &address.ifr_addr, sizeof internet);
  return internet.sin_family == AF_INET && ntohl(internet.sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
}

// Reports ask, so not with getifaddrs(), which has the kernel describe all there is to know of
// every interface and takes ten times as long. This tells of IPv4 addresses only.
std::optional<std::vector<NetworkInterface>> systemInterfaces() {
  const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket.valid()) return std::nullopt;
  std::vector<ifreq> requests(kUsualAddresses);
  ifconf addresses{};
  for (;;) {
    const std::size_t room = requests.size() * sizeof(ifreq);
    addresses.ifc_len = static_cast<int>(room);
    addresses.ifc_req = requests.data();
    if (::ioctl(socket.get(), SIOCGIFCONF, &addresses) != 0) return std::nullopt;
    // It tells as many as there is room for.
    if (static_cast<std::size_t>(addresses.ifc_len) < room) break;
    requests.resize(requests.size() * 2);
  }
  requests.resize(static_cast<std::size_t>(addresses.ifc_len) / sizeof(ifreq));
  std::vector<NetworkInterface> interfaces;
  interfaces.reserve(requests.size());
  for (const ifreq& each : requests) {
    interfaces.push_back({.name = std::string(each.ifr_name, ::strnlen(each.ifr_name, IFNAMSIZ)),
                          .isIPv4 = each.ifr_addr.sa_family == AF_INET,
                          .isLoopback = isLoopback(each)});
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
