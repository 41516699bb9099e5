// How many, how large, how long: every bound of the library's logic, each with its reason. Sizes
// are in bytes.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace quarnel::limits {

// --- Reports on their way
// -------------------------------------------------------------------------

// Reports that wait to be composed. Enough for any burst of an application that works; a loop gone
// wild must not fill its own memory. Calls beyond either bound are not accepted, and counted.
inline constexpr std::size_t kMostWaiting = 16384;
inline constexpr std::size_t kMostWaitingBytes = std::size_t{64} << 20;

// Reports that the transport has without outcome: enough to keep all connections busy, few enough
// that the others wait in their small form. By bytes too, as a record may have a hundred megabytes.
inline constexpr std::size_t kMostInFlight = 256;
inline constexpr std::size_t kMostInFlightBytes = std::size_t{8} << 20;

// Launches are not held back behind events. So many may be on their way beyond the events.
inline constexpr std::size_t kMostLaunchesInFlight = 16;

// Requests gathered with one commit: a commit costs as much as the rest of a report, and a batch
// should not keep the first of its reports waiting.
inline constexpr std::size_t kGatherBatch = 64;

// --- Offline cache
// --------------------------------------------------------------------------------

// Tested with "greater than" before a write, so that the directory can hold one entry more.
inline constexpr std::size_t kCacheLimit = 40;

// An event value of 10 MB makes a record of some 80 MB after escaping. What is larger is neither
// written nor read.
inline constexpr std::size_t kLargestRecord = std::size_t{128} << 20;

// Records beyond this sum stay on disk until the next replay, so that memory stays bounded.
inline constexpr std::size_t kReplayBudget = std::size_t{256} << 20;

// Records written within one microsecond, or after the clock was set back, take the next free name.
inline constexpr int kNameAttempts = 1000;

// --- HTTP
// -----------------------------------------------------------------------------------------

// Exchanges without an outcome, waiting or on their way. Beyond either limit an exchange fails at
// once, as without a network; within both it is queued, however slow the server is. More than the
// reports, the replay and the other requests come to together.
inline constexpr std::size_t kExchanges = 1024;
inline constexpr std::size_t kRequestBytes = std::size_t{128} << 20;

// A larger request counts as this much, so that others fit beside it.
inline constexpr std::size_t kCountedRequestBytes = kRequestBytes / 4;

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

// --- Other requests
// -------------------------------------------------------------------------------

// Statistics, purchases and tokens that wait for their requests; an application makes a few.
inline constexpr std::size_t kMostStatistics = 64;
inline constexpr std::size_t kMostPurchases = 256;
inline constexpr std::size_t kMostPurchaseBytes = std::size_t{16} << 20;
inline constexpr std::size_t kMostTokens = 64;
inline constexpr std::size_t kMostTokenBytes = std::size_t{1} << 20;

// A store receipt holds every purchase of the application; larger files are something else.
inline constexpr std::size_t kLargestReceipt = std::size_t{16} << 20;

// The application may end right after it went to the background, so the session is committed before
// the notification returns, unless somebody else keeps the store locked for longer than a frame.
inline constexpr std::chrono::milliseconds kSessionCommit{20};

}  // namespace quarnel::limits
