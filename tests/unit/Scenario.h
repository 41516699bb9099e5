// A tracker on the simulated platform, with all that it lets the outside world see as text, so that
// a table says the whole outcome of a call.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "SimulatedPorts.h"

namespace quarnel::testing {

class Scenario {
 public:
  explicit Scenario(HostEnvironment environment = HostEnvironment());

  // The key and the app ID, as after each start of the application.
  void configure();
  void restart();

  // What happened since the last call, a line each, in order: "moment queue: what". Moments are
  // seconds since the last call. A request is followed by its headers and its body; that of a
  // report only by its name, as expectReport compares it as a whole. Long names are shortened, each
  // to one of its own: "{build}", "{replay}".
  std::string after(std::chrono::nanoseconds time);
  // Only the callbacks of that.
  std::string callbacks(std::chrono::nanoseconds time);
  std::string now() { return after(std::chrono::nanoseconds(0)); }

  // The latest report is a first launch but for some fields. A change is a field and its JSON text;
  // an empty text stands for a field that is absent.
  using Changes = std::vector<std::pair<std::string, std::string>>;
  void expectReport(const Changes& changes);

  // A callback of the application, for the journal.
  void call(const std::string& text) {
    ports().simulatedDispatcher.record(Journal::Kind::kCallback, text);
  }

  SimulatedPorts& ports() { return portsOf(platform); }
  QuarnelTracker& tracker() { return platform.tracker(); }

  SimulatedPlatform platform;
  QuarnelTrackerDelegate delegate;  // Journals its calls.

 private:
  std::string withoutBody(std::string line) const;
  std::string requestText(const RecordedRequest& request);

  std::size_t requests_ = 0;
  std::chrono::nanoseconds passed_{0};
};

}  // namespace quarnel::testing
