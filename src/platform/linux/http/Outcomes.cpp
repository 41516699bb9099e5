#include "platform/linux/http/Outcomes.h"

#include <algorithm>

namespace quarnel {
namespace {

// As if each were a task of its own: what it throws is dropped, and what its completion owns is
// released before the next.
void complete(HttpCompletion completion, const HttpResult& result) {
  try {
    completion(result);
  } catch (...) {
  }
}

}  // namespace

void Outcomes::add(OutcomeReceiver receiver, HttpResult result) {
  auto batch = std::find_if(batches_.begin(), batches_.end(), [&receiver](const Batch& each) {
    return each.queue == receiver.queue;
  });
  if (batch == batches_.end()) {
    batch = batches_.insert(batch, {std::move(receiver.queue), {}, {}});
  }
  batch->outcomes.emplace_back(std::move(receiver.completion), std::move(result));
  batch->tokens.push_back(std::move(receiver.token));
}

void Outcomes::handOver() {
  for (Batch& batch : batches_) {
    // Shared, as tasks are copyable.
    auto outcomes = std::make_shared<decltype(batch.outcomes)>(std::move(batch.outcomes));
    batch.queue->post([outcomes = std::move(outcomes)] {
      for (auto& [completion, result] : *outcomes) complete(std::move(completion), result);
    });
  }
  batches_.clear();
}

}  // namespace quarnel
