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
