#include "process/ProcessFigures.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

namespace quarnel::bench {
namespace {

// The number behind a label at the start of a line, as in "VmHWM:   1234 kB".
long numberInFile(const char* path, std::string_view label) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, label.size(), label) == 0) return std::stol(line.substr(label.size()));
  }
  throw std::runtime_error(std::string(path) + " does not tell " + std::string(label));
}

}  // namespace

double wallSeconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<double>(now).count();
}

double processorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long privateDirtyKilobytes() { return numberInFile("/proc/self/smaps_rollup", "Private_Dirty:"); }
long residentKilobytes() { return numberInFile("/proc/self/status", "VmRSS:"); }
long peakResidentKilobytes() { return numberInFile("/proc/self/status", "VmHWM:"); }

void print(std::string_view name, double value) {
  std::printf("%.*s %.9f\n", static_cast<int>(name.size()), name.data(), value);
}

}  // namespace quarnel::bench
