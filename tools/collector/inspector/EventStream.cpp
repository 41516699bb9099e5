#include "inspector/EventStream.h"

#include <httplib.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include "JsonText.h"
#include "Text.h"

namespace collector {
namespace {

// Pages are told of many arrivals at once.
constexpr std::chrono::milliseconds kPace{100};
// How often it is looked whether the page is still there.
constexpr std::chrono::seconds kGlance{1};
// Shows the page that the connection still stands.
constexpr std::chrono::seconds kHeartbeat{15};

std::string event(const char* name, const std::string& data) {
  return "event: " + std::string(name) + "\ndata: " + data + "\n\n";
}

class EventStream {
 public:
  EventStream(LiveFeed& feed, const RequestStore& store, const Controls& controls)
      : feed_(feed), store_(store), controls_(controls) {}

  // Waits for what is next to tell, for as long as a glance at most; empty when there is nothing.
  std::string next() {
    const bool isFirst = !known_;
    const LiveFeed::State before = known_.value_or(feed_.state());
    known_ = isFirst ? before : feed_.waitForNews(before, kGlance);
    std::string events;
    if (known_->clearings != before.clearings) events += event("cleared", "{}");
    if (isFirst || known_->controlChanges != before.controlChanges) {
      events += event("controls", controls_.json());
    }
    if (isFirst || known_->arrivals != before.arrivals || known_->clearings != before.clearings) {
      events += arrival();
    }
    const auto now = std::chrono::steady_clock::now();
    if (events.empty() && now - told_ >= kHeartbeat) events = ": still there\n\n";
    if (!events.empty()) told_ = now;
    return events;
  }

 private:
  std::string arrival() const {
    const RequestStore::Totals totals = store_.totals();
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("newest");
    writer.Int64(totals.newest);
    writer.Key("count");
    writer.Int64(totals.count);
    writer.Key("trouble");
    totals.trouble.empty() ? writer.Null() : (writeText(writer, validUtf8(totals.trouble)), true);
    writer.EndObject();
    return event("arrived", std::string(view(buffer)));
  }

  LiveFeed& feed_;
  const RequestStore& store_;
  const Controls& controls_;
  std::optional<LiveFeed::State> known_;
  std::chrono::steady_clock::time_point told_;
};

}  // namespace

bool EventStreams::open(httplib::Response& response) {
  if (++*open_ > kMostStreams) {
    --*open_;
    return false;
  }
  auto stream = std::make_shared<EventStream>(feed_, store_, controls_);
  response.set_chunked_content_provider(
      "text/event-stream",
      [stream, &feed = feed_](std::size_t, httplib::DataSink& sink) {
        const std::string events = stream->next();
        if (feed.hasEnded()) {
          sink.done();
          return true;
        }
        if (events.empty()) return sink.is_writable();
        if (!sink.write(events.data(), events.size())) return false;
        std::this_thread::sleep_for(kPace);
        return true;
      },
      [open = open_](bool) { --*open; });
  return true;
}

}  // namespace collector
