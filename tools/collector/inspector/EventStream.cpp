#include "inspector/EventStream.h"

#include <httplib.h>

#include <string>
#include <thread>

namespace collector {
namespace {

constexpr int kMostStreams = 32;
// Pages are told of many arrivals at once.
constexpr std::chrono::milliseconds kPace{100};
// Shows that the connection still stands.
constexpr std::chrono::seconds kHeartbeat{15};

std::string event(const char* name, const std::string& data) {
  return "event: " + std::string(name) + "\ndata: " + data + "\n\n";
}

class EventStream {
 public:
  EventStream(LiveFeed& feed, const Controls& controls) : feed_(feed), controls_(controls) {}

  // The next piece; empty at the end.
  std::string next() {
    if (!isStarted_) {
      isStarted_ = true;
      known_ = feed_.state();
      return arrival() + event("controls", controls_.json());
    }
    const LiveFeed::State state = feed_.waitForNews(known_, kHeartbeat);
    if (feed_.hasEnded()) return {};
    if (state == known_) return ": still there\n\n";
    const LiveFeed::State before = std::exchange(known_, state);
    std::string events;
    if (state.clearings != before.clearings) events += event("cleared", "{}");
    if (state.controlChanges != before.controlChanges) {
      events += event("controls", controls_.json());
    }
    if (state.newest != before.newest || state.count != before.count) events += arrival();
    return events;
  }

 private:
  std::string arrival() const {
    return event("arrived", "{\"newest\":" + std::to_string(known_.newest) +
                                ",\"count\":" + std::to_string(known_.count) + "}");
  }

  LiveFeed& feed_;
  const Controls& controls_;
  LiveFeed::State known_;
  bool isStarted_ = false;
};

}  // namespace

bool EventStreams::open(LiveFeed& feed, const Controls& controls, httplib::Response& response) {
  if (++*open_ > kMostStreams) {
    --*open_;
    return false;
  }
  auto stream = std::make_shared<EventStream>(feed, controls);
  response.set_chunked_content_provider(
      "text/event-stream",
      [stream](std::size_t offset, httplib::DataSink& sink) {
        if (offset > 0) std::this_thread::sleep_for(kPace);
        const std::string events = stream->next();
        if (events.empty()) {
          sink.done();
          return true;
        }
        return sink.write(events.data(), events.size());
      },
      [open = open_](bool) { --*open; });
  return true;
}

}  // namespace collector
