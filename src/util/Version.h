#pragma once

namespace quarnel {

// The library's version, and the version of the server interface that it speaks.
inline constexpr const char* kLibraryVersion = "1.0.0";
inline constexpr const char* kServerApiVersion = "4";

}  // namespace quarnel
