#include "platform/linux/process/ProcessExit.h"

#include <cstdlib>
#include <mutex>
#include <vector>

#include "platform/PlatformFactory.h"
#include "platform/linux/process/ForkedChild.h"

namespace quarnel {
namespace {

struct Registry {
  std::mutex mutex;
  std::vector<std::weak_ptr<ExitParticipant>> participants;
};

// Leaked: it is needed while the process ends.
Registry& registry() {
  static Registry* const instance = new Registry;
  return *instance;
}

void callParticipants() {
  // A child shares files and locks with its parent, and is not to touch them at its own end.
  if (isForkedChild()) return;
  std::vector<std::weak_ptr<ExitParticipant>> participants;
  {
    const std::lock_guard lock(registry().mutex);
    participants.swap(registry().participants);
  }
  for (auto next = participants.rbegin(); next != participants.rend(); ++next) {
    if (const auto participant = next->lock()) participant->processIsExiting();
  }
}

}  // namespace

void callAtExit(std::weak_ptr<ExitParticipant> participant) {
  watchForForks();
  {
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().participants, [](const auto& known) { return known.expired(); });
    registry().participants.push_back(std::move(participant));
  }
  // Once more for each participant: the newest registration is the one that runs first, and it
  // calls all of them.
  std::atexit(callParticipants);
}

}  // namespace quarnel
