// Message digests. The platform adapter that the library is linked with implements them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace quarnel {

std::array<std::uint8_t, 20> sha1Digest(std::string_view bytes);
std::array<std::uint8_t, 16> md5Digest(std::string_view bytes);

}  // namespace quarnel
