#pragma once

#include <string>

#include "platform/CounterStore.h"

namespace quarnel {

// The numbers in a file of counters, as versions before the database wrote it. All zero when there
// is no such file, or it is damaged.
//
// It did not tell which accepted reports had ended with a process, only how many had no outcome,
// and that number was not to be trusted. So these count as never accepted, and the rest adds up.
CounterStore::Totals readFormerCounters(const std::string& path);

}  // namespace quarnel
