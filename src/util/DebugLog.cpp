#include "util/DebugLog.h"

namespace quarnel {

void DebugLog::write(std::string_view operation, std::initializer_list<Part> parts) const {
  std::string line = "Quarnel: ";
  line += operation;
  line += ' ';
  for (const Part& part : parts) line += part.text();
  sink_(line);
}

}  // namespace quarnel
