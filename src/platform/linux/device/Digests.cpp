#include "util/Digests.h"

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

#include "platform/linux/device/OpenSsl.h"

namespace quarnel {
namespace {

// The digests here are names for things, not protection: "-fips" asks for them also where the
// system's policy keeps them from cryptographic use.
template <std::size_t Size>
std::array<std::uint8_t, Size> digest(const char* algorithm, std::string_view bytes) {
  initialiseOpenSsl();
  const std::unique_ptr<EVP_MD, decltype(&::EVP_MD_free)> method(
      ::EVP_MD_fetch(nullptr, algorithm, "-fips"), &::EVP_MD_free);
  std::array<std::uint8_t, Size> result{};
  if (!method || ::EVP_MD_get_size(method.get()) != static_cast<int>(Size) ||
      ::EVP_Digest(bytes.data(), bytes.size(), result.data(), nullptr, method.get(), nullptr) !=
          1) {
    throw std::runtime_error(std::string(algorithm) + " is not available");
  }
  return result;
}

}  // namespace

std::array<std::uint8_t, 20> sha1Digest(std::string_view bytes) {
  return digest<20>("SHA1", bytes);
}

std::array<std::uint8_t, 16> md5Digest(std::string_view bytes) { return digest<16>("MD5", bytes); }

}  // namespace quarnel
