#pragma once

#include <memory>

namespace quarnel {

// Something that has to be done when the process ends by exit() or by returning from main. Other
// threads are still running then.
class ExitParticipant {
 public:
  virtual ~ExitParticipant() = default;
  virtual void processIsExiting() = 0;
};

// Calls the participant, if it still lives, before everything that was registered for the end of
// the process earlier than this. Not in a child that was forked from this process.
void callAtExit(std::weak_ptr<ExitParticipant> participant);

}  // namespace quarnel
