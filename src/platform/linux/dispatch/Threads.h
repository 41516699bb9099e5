#pragma once

#include <functional>
#include <string>
#include <thread>

namespace quarnel {

// Starts a thread in which all signals are blocked, so that the host application's handlers run on
// its own threads and a broken connection cannot kill the process with SIGPIPE. The thread never
// displaces the one that wakes it: the application's call returns first. Nor does it inherit a
// real-time priority. Throws
// std::system_error when the system has no thread to give.
std::thread startThread(const std::string& name, std::function<void()> body);

}  // namespace quarnel
