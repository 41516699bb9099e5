#pragma once

#include <memory>

#include "transport/QuarnelRequestCacheData.h"

namespace quarnel {

using RequestRecord = std::shared_ptr<const QuarnelRequestCacheData>;

// What the transport tells the offline cache about each exchange. Callable from any thread; the
// effects happen later, in the order of the calls.
class RequestReplay {
 public:
  virtual ~RequestReplay() = default;
  virtual void cacheRequest(RequestRecord record) = 0;   // A fresh report failed.
  virtual void processCache() = 0;                       // A fresh report got through.
  virtual void deleteRequest(RequestRecord record) = 0;  // A replayed report got through.
  virtual void sendNextCachedEvents() = 0;               // A replayed report is done with.
};

}  // namespace quarnel
