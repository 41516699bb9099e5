// Message digests, provided by the platform that the library is linked for.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace quarnel {

std::array<std::uint8_t, 20> sha1Digest(std::string_view bytes);
std::array<std::uint8_t, 16> md5Digest(std::string_view bytes);

}  // namespace quarnel
