#pragma once

#include <string>

#include "platform/Dispatcher.h"
#include "platform/LogSink.h"

namespace quarnel {

// Runs the task; an exception that leaves it ends here, with a line in the log.
void runGuarded(const Task& task, const std::string& queueLabel, LogSink& log);

}  // namespace quarnel
