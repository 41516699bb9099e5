#include "Recorder.h"

#include <exception>
#include <iostream>

#include "ValidationEndpoint.h"

namespace collector {
namespace {

// The kind of requests that come to where this one came.
Kind endpointOf(const ReceivedReport& report) {
  if (report.kind != Kind::kUndecodable) return report.kind;
  return report.request.path == ValidationEndpoint::kPath ? Kind::kValidation : Kind::kEvent;
}

}  // namespace

Answer Recorder::record(const ReceivedReport& report, Answer answer) {
  controls_.apply(endpointOf(report), answer);
  Problems problems = check_.check(report);
  try {
    store_.add(report, summarize(report), problems, answer);
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: a request was not kept: " << failure.what() << std::endl;
    answer.status = 500;
    answer.json = R"({"status":"not kept"})";
  }
  feed_.arrived();  // Also of trouble.
  printer_.report(report, problems);
  return answer;
}

}  // namespace collector
