// SHA-1 and MD5 are what the service asks for; nothing is kept secret with them.
#include <CommonCrypto/CommonDigest.h>

#include "util/Digests.h"

#if defined(__clang__)
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#endif

namespace quarnel {

std::array<std::uint8_t, 20> sha1Digest(std::string_view bytes) {
  std::array<std::uint8_t, 20> digest;
  CC_SHA1(bytes.data(), static_cast<CC_LONG>(bytes.size()), digest.data());
  return digest;
}

std::array<std::uint8_t, 16> md5Digest(std::string_view bytes) {
  std::array<std::uint8_t, 16> digest;
  CC_MD5(bytes.data(), static_cast<CC_LONG>(bytes.size()), digest.data());
  return digest;
}

}  // namespace quarnel
