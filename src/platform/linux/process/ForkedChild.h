#pragma once

namespace quarnel {

// From now on isForkedChild() tells a child from this process.
void watchForForks();

}  // namespace quarnel
