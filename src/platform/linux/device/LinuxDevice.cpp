#include "platform/linux/device/LinuxDevice.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "platform/linux/device/OpenSsl.h"
#include "platform/linux/store/LinuxFileSystem.h"

namespace quarnel {
namespace {

constexpr std::size_t kLargestFactFile = 65536;

bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::optional<std::string> readText(const std::string& path) {
  std::error_code ignored;
  // /etc/os-release is usually a symbolic link.
  const auto target = std::filesystem::canonical(path, ignored);
  return LinuxFileSystem({}).read(target.string(), kLargestFactFile);
}

// The first line without surrounding blanks and control characters; absent when that is empty.
std::optional<std::string> readLine(const std::string& path) {
  auto text = readText(path);
  if (!text) return std::nullopt;
  const auto isInk = [](char c) { return static_cast<unsigned char>(c) > ' ' && c != 0x7f; };
  const auto first = std::find_if(text->begin(), text->end(), isInk);
  const auto isBreak = [](char c) { return c == '\n' || c == '\r' || c == '\0'; };
  const auto end = std::find_if(first, text->end(), isBreak);
  const auto last =
      std::find_if(std::make_reverse_iterator(end), std::make_reverse_iterator(first), isInk);
  if (first == last.base()) return std::nullopt;
  return std::string(first, last.base());
}

// A value of an os-release file, quoted as a shell would have it.
std::optional<std::string> osReleaseValue(std::string_view text, std::string_view key) {
  std::optional<std::string> found;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.substr(0, key.size()) != key || line.substr(key.size(), 1) != "=") continue;
    std::string value;
    const std::string_view quoted = line.substr(key.size() + 1);
    for (std::size_t i = 0; i < quoted.size(); ++i) {
      if (quoted[i] == '"' || quoted[i] == '\'' || quoted[i] == '\r') continue;
      if (quoted[i] == '\\' && i + 1 < quoted.size()) ++i;
      value.push_back(quoted[i]);
    }
    found = value.empty() ? std::nullopt : std::optional(std::move(value));
  }
  return found;
}

// All components of a bundle identifier but the last: what the applications of a vendor share.
std::string_view vendorPart(const std::optional<std::string>& bundleIdentifier) {
  if (!bundleIdentifier) return {};
  const std::string_view identifier(*bundleIdentifier);
  return identifier.substr(0, identifier.rfind('.'));
}

// A UUID that is the same for the applications of one vendor on one machine, and tells nothing of
// the machine identifier, which is not to leave the machine.
std::optional<std::string> vendorIdentifier(const std::optional<std::string>& machineIdentifier,
                                            std::string_view vendor) {
  constexpr std::size_t kMachineIdentifierLength = 32;
  if (!machineIdentifier || machineIdentifier->size() != kMachineIdentifierLength ||
      machineIdentifier->find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    return std::nullopt;
  }
  const std::string message = "identifier for vendor:" + std::string(vendor);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  initialiseOpenSsl();
  if (::HMAC(::EVP_sha256(), machineIdentifier->data(), static_cast<int>(machineIdentifier->size()),
             reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest.data(),
             nullptr) == nullptr) {
    return std::nullopt;
  }
  // The marks of a random UUID.
  digest[6] = static_cast<unsigned char>((digest[6] & 0x0f) | 0x40);
  digest[8] = static_cast<unsigned char>((digest[8] & 0x3f) | 0x80);
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string uuid;
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) uuid.push_back('-');
    uuid.push_back(kHex[digest[i] >> 4]);
    uuid.push_back(kHex[digest[i] & 0x0f]);
  }
  return uuid;
}

std::string localeName() {
  for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "C";
}

std::optional<std::string> hostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return std::nullopt;
  return name.data();
}

}  // namespace

Locale parseLocale(std::string_view name) {
  Locale fallback{"en", std::nullopt};
  name = name.substr(0, name.find_first_of(".@"));
  const std::size_t separator = name.find('_');
  const std::string_view language = name.substr(0, separator);
  if (language.size() < 2 || language.size() > 3 ||
      !std::all_of(language.begin(), language.end(), isAsciiLetter)) {
    return fallback;  // "C", "POSIX" and what is no locale.
  }
  if (separator == std::string_view::npos) return {std::string(language), std::nullopt};
  const std::string_view country = name.substr(separator + 1);
  const bool isRegion =
      (country.size() == 2 && std::all_of(country.begin(), country.end(), isAsciiLetter)) ||
      (country.size() == 3 && std::all_of(country.begin(), country.end(), isDigit));
  if (!isRegion) return {std::string(language), std::nullopt};
  return {std::string(language) + "-" + std::string(country), std::string(country)};
}

std::optional<std::string> readIdentifierForVendor(
    const std::string& root, const std::optional<std::string>& bundleIdentifier) {
  return vendorIdentifier(readLine(root + "/etc/machine-id"), vendorPart(bundleIdentifier));
}

DeviceFacts readDeviceFacts(const std::string& root) {
  DeviceFacts facts;
  facts.name = hostName();
  auto release = readText(root + "/etc/os-release");
  if (!release) release = readText(root + "/usr/lib/os-release");
  if (release) {
    facts.systemName = osReleaseValue(*release, "NAME");
    facts.systemVersion = osReleaseValue(*release, "VERSION_ID");
  }
  facts.model = readLine(root + "/sys/class/dmi/id/product_name");
  if (!facts.model) facts.model = readLine(root + "/proc/device-tree/model");
  facts.localizedModel = facts.model;
  utsname kernel{};
  if (::uname(&kernel) == 0) facts.hardwareMachine = kernel.machine;
  Locale locale = parseLocale(localeName());
  facts.preferredLanguages = {std::move(locale.languageTag)};
  facts.countryCode = std::move(locale.countryCode);
  return facts;
}

LinuxDevice::LinuxDevice(DeviceFacts facts, const Overrides& overrides, BundleFacts bundle)
    : facts_(std::move(facts)),
      bundle_(std::move(bundle)),
      hasOwnIdentifier_(overrides.find("vendorId") != overrides.end()) {
  for (const auto& [field, value] : overrides) overrideDeviceFact(facts_, field, value);
}

DeviceFacts LinuxDevice::currentDevice() const {
  std::call_once(identified_, [this] {
    if (hasOwnIdentifier_) return;
    facts_.identifierForVendor = readIdentifierForVendor("", bundle_.bundleIdentifier);
  });
  return facts_;
}

}  // namespace quarnel
