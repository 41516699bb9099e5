#pragma once

#include <chrono>
#include <cstddef>

namespace quarnel::limits {

// Exchanges without an outcome, waiting or on their way. Beyond either limit an exchange fails at
// once, as without a network; within both it is queued, however slow the server is.
inline constexpr std::size_t kExchanges = 1024;
inline constexpr std::size_t kRequestBytes = std::size_t{64} << 20;

// A larger request counts as this much: it takes half of the room, and small ones fit beside it.
inline constexpr std::size_t kCountedRequestBytes = kRequestBytes / 2;

// The share of reports, counted the same way. The next report is composed when it fits, or when no
// other is on its way; the rest of the room is for validations, registrations and statistics, which
// nothing holds back.
inline constexpr std::size_t kReportsOnTheirWay = 256;
inline constexpr std::size_t kReportBytesOnTheirWay = kCountedRequestBytes;

// What a server may make the library hold: a response body; the heads of all responses of an
// exchange (interim ones and redirects, too) with the trailers. libcurl keeps a copy of each
// header, some hundred bytes at least.
inline constexpr std::size_t kResponseBody = std::size_t{8} << 20;
inline constexpr std::size_t kResponseHeads = std::size_t{256} << 10;

// For connecting, and then without any byte of a body either way.
inline constexpr std::chrono::seconds kStall{60};

// An exchange as a whole: this, and a second more for each so many bytes sent or received. A server
// that sends a byte now and then would keep a connection for weeks.
inline constexpr std::chrono::seconds kExchangeTime{60};
inline constexpr std::size_t kBytesPerSecond = std::size_t{8} << 10;

inline constexpr long kConnectionsPerHost = 4;

// Servers close idle connections after 5 seconds at the earliest, commonly. A request that meets
// such an end fails, as it is never sent twice. libcurl rounds the age down to a second.
inline constexpr std::chrono::seconds kIdleConnection{3};

}  // namespace quarnel::limits
