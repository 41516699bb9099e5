#include "Recorder.h"

#include <exception>
#include <iostream>

namespace collector {

Answer Recorder::record(const ReceivedReport& report, Answer answer) {
  try {
    store_.add(report);
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: a request was not kept: " << failure.what() << std::endl;
    answer = {500, R"({"status":"not kept"})"};
  }
  printer_.report(report);
  return answer;
}

}  // namespace collector
