// Server-sent events: what open pages are told as it happens.
#pragma once

#include <atomic>
#include <memory>

#include "inspector/Controls.h"
#include "inspector/LiveFeed.h"

namespace httplib {
struct Response;
}

namespace collector {

class EventStreams {
 public:
  // Answers with a stream that ends with the feed or when the page goes away. False when too many
  // are open.
  bool open(LiveFeed& feed, const Controls& controls, httplib::Response& response);

 private:
  std::shared_ptr<std::atomic<int>> open_ = std::make_shared<std::atomic<int>>(0);
};

}  // namespace collector
