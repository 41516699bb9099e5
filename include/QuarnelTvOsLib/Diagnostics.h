#pragma once

#include <cstdint>

namespace quarnel {

// What became of the launch and event reports of this installation, since it was installed. One
// that the application has asked for is always somewhere:
//
//   asked for = accepted + lost.tooManyWaiting
//   accepted  = delivered + cached + notDue + waiting + inFlight
//               + lost.missingDeveloperKey + lost.abandoned
//               + lost.cacheFull + lost.cacheWriteFailed + lost.withProcess
//   cached    = replayed + what still lies in the offline cache
//
// So nothing was lost when all members of `lost` are zero. While reports are on their way the
// members are read one after another and may differ by those that have just moved on; after
// QuarnelTracker::drain has returned true they agree.
//
// The numbers are kept in a file of their own and survive restarts. A process that is killed can
// cost the counting, not the reports, of its last hundredth of a second.
struct Diagnostics {
  std::uint64_t accepted = 0;   // Taken from the application.
  std::uint64_t notDue = 0;     // Launches right after another, which are not reported.
  std::uint64_t built = 0;      // Made and handed to the transport.
  std::uint64_t delivered = 0;  // Reached the server, at the first attempt.
  std::uint64_t failed = 0;     // Did not, for want of a network or an answer.
  std::uint64_t cached = 0;     // Of those that failed: kept on disk.
  std::uint64_t replayed = 0;   // Of those that were kept: delivered later.

  std::uint64_t waiting = 0;   // In this process: to be built.
  std::uint64_t inFlight = 0;  // In this process: handed to the transport, without outcome.

  // Reports that will not reach the server, by reason.
  struct Lost {
    std::uint64_t tooManyWaiting = 0;       // Not taken: the application asked faster than can be.
    std::uint64_t missingDeveloperKey = 0;  // No developer key was set when it was built.
    std::uint64_t abandoned = 0;            // Could not be built: no JSON form, unusable e-mails.
    std::uint64_t cacheFull = 0;            // Failed while the offline cache held 41 entries.
    std::uint64_t cacheWriteFailed = 0;     // Failed, and the disk did not take it.
    std::uint64_t unreadableRecords = 0;    // Files of the cache that cannot be used; counted once
                                            // in each process that meets them.
    std::uint64_t withProcess = 0;          // Waiting or in flight when a process ended.
  };
  Lost lost;  // All zero: nothing was lost.
};

}  // namespace quarnel
