// What the example needs of a main loop. PlainLoop.cpp, GlibLoop.cpp and UvLoop.cpp are the
// recipes.
#pragma once

#include <functional>

namespace loop {

// Has the task run by the loop, after all that were posted before. Any thread; returns at once.
void post(std::function<void()> task);

// Runs tasks on the calling thread until quit() is called by one of them.
void run();
void quit();

}  // namespace loop
