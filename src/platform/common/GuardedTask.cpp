#include "platform/common/GuardedTask.h"

#include <exception>

namespace quarnel {

void runGuarded(const Task& task, const std::string& queueLabel, LogSink& log) {
  try {
    task();
  } catch (const std::exception& error) {
    log.write("Quarnel: a task on " + queueLabel + " threw: " + error.what());
  } catch (...) {
    log.write("Quarnel: a task on " + queueLabel + " threw");
  }
}

}  // namespace quarnel
