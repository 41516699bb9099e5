// Server-sent events: what open pages are told as it happens.
#pragma once

#include <atomic>
#include <memory>

#include "RequestStore.h"
#include "inspector/Controls.h"
#include "inspector/LiveFeed.h"

namespace httplib {
struct Response;
}

namespace collector {

class EventStreams {
 public:
  static constexpr int kMostStreams = 32;

  EventStreams(LiveFeed& feed, const RequestStore& store, const Controls& controls)
      : feed_(feed), store_(store), controls_(controls) {}

  // Answers with a stream that ends with the feed or when the page goes away. False when too many
  // are open.
  bool open(httplib::Response& response);

 private:
  LiveFeed& feed_;
  const RequestStore& store_;
  const Controls& controls_;
  // A response may live longer than this object.
  std::shared_ptr<std::atomic<int>> open_ = std::make_shared<std::atomic<int>>(0);
};

}  // namespace collector
