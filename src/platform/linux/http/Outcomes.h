#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"
#include "platform/common/PendingWork.h"
#include "util/Admission.h"

namespace quarnel {

// Who waits for an exchange's outcome.
struct OutcomeReceiver {
  std::shared_ptr<SerialQueue> queue;
  HttpCompletion completion;
  PendingWork::Token token;        // Given back after the hand-over to the queue.
  Admission::SharedTicket ticket;  // The exchange's place among those that are outstanding.
};

// Collects the outcomes of a moment and hands them over together: one task for each queue, in the
// order of the outcomes.
class Outcomes {
 public:
  void add(OutcomeReceiver receiver, HttpResult result);
  void handOver();

 private:
  struct Batch {
    std::shared_ptr<SerialQueue> queue;
    std::vector<std::pair<HttpCompletion, HttpResult>> outcomes;
    std::vector<PendingWork::Token> tokens;
  };

  std::vector<Batch> batches_;
};

}  // namespace quarnel
