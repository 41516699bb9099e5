#pragma once

#include <string_view>

namespace quarnel::bench {

// What the kernel tells of this process.
double wallSeconds();       // Since 1970, to compare with the time at which a parent called exec.
double processorSeconds();  // User and system time of all threads.
long privateDirtyKilobytes();
long residentKilobytes();
long peakResidentKilobytes();

// One figure of the output, which scripts read: a name and a number a line.
void print(std::string_view name, double value);

}  // namespace quarnel::bench
