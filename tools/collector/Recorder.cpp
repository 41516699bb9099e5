#include "Recorder.h"

#include <exception>
#include <iostream>

namespace collector {

Answer Recorder::record(const ReceivedReport& report, Answer answer) {
  controls_.apply(report.kind, answer);
  try {
    feed_.arrived(store_.add(report, summarize(report), check_.check(report), answer));
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: a request was not kept: " << failure.what() << std::endl;
    answer.status = 500;
    answer.json = R"({"status":"not kept"})";
  }
  printer_.report(report);
  return answer;
}

}  // namespace collector
