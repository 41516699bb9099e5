#pragma once

#include <QuarnelTvOsLib/Export.h>
#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <string>

namespace quarnel {

// What became of the launch and event reports of this installation, since it was installed. One
// that the application has asked for is always somewhere:
//
//   asked for = accepted + lost.tooManyWaiting
//   accepted  = delivered + cached + notDue + waiting + inFlight
//               + lost.missingDeveloperKey + lost.abandoned
//               + lost.cacheFull + lost.cacheWriteFailed + lost.withProcess
//   cached    = replayed + lost.unreadableRecords + lost.deletedFromCache
//               + what still lies in the offline cache
//
// So nothing was lost when all members of `lost` are zero. While reports are on their way the
// members are read one after another and may differ by those that have just moved on; after
// QuarnelTracker::drain has returned true they agree. What other processes of the same application
// have on their way now is counted as accepted and shows nowhere else.
//
// The numbers are kept in a database of their own and survive restarts. They are saved within a
// hundredth of a second, by threads of the library: what a process that is killed had counted since
// then is not counted, whether it was accepted or delivered.
//
// Later versions may give names to reserved members; the size and the places of the others stay.
struct Diagnostics {
  std::uint64_t accepted = 0;   // Taken from the application.
  std::uint64_t notDue = 0;     // Launches right after another, which are not reported.
  std::uint64_t built = 0;      // Made and handed to the transport.
  std::uint64_t delivered = 0;  // Reached the server, at the first attempt.
  std::uint64_t failed = 0;     // Did not, for want of a network or an answer.
  std::uint64_t cached = 0;     // Of those that failed: kept on disk.
  std::uint64_t replayed = 0;   // Of those that were kept: delivered later.

  std::uint64_t waiting = 0;     // In this process: to be built.
  std::uint64_t inFlight = 0;    // In this process: handed to the transport, without outcome.
  std::uint64_t validating = 0;  // In this process: purchases that are being validated. Each is
                                 // accepted as an event afterwards.

  std::uint64_t storesSetAside = 0;  // Databases that could not be used, kept as *.corrupt-*, and
                                     // begun afresh.
  std::uint64_t reserved[8] = {};    // Zero.

  // Reports that will not reach the server, by reason.
  struct Lost {
    std::uint64_t tooManyWaiting = 0;       // Not taken: the application asked faster than can be.
    std::uint64_t missingDeveloperKey = 0;  // No developer key was set when it was built.
    std::uint64_t abandoned = 0;            // Could not be built: no JSON form, unusable e-mails.
    std::uint64_t cacheFull = 0;            // Failed while the offline cache held 41 entries.
    std::uint64_t cacheWriteFailed = 0;     // Failed, and the disk did not take it.
    std::uint64_t unreadableRecords = 0;    // Files of the cache that cannot be used; counted once
                                            // in each process that meets them.
    std::uint64_t deletedFromCache = 0;     // Deleted by somebody else: the caches were emptied.
                                            // Noticed when the cache is used next.
    std::uint64_t withProcess = 0;          // Waiting or in flight when a process ended. Never of
                                            // a process that runs.
    std::uint64_t reserved[8] = {};         // Zero.
  };
  Lost lost;  // All zero: nothing was lost.
};

// All of it by the names above, `lost` as a dictionary of its own.
QUARNEL_EXPORT Dictionary toDictionary(const Diagnostics& diagnostics);

// For a log: one line, what is zero left out, "accepted 3, delivered 1, lost.cacheFull 2".
QUARNEL_EXPORT std::string toText(const Diagnostics& diagnostics);

}  // namespace quarnel
