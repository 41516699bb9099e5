#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "compose/Report.h"
#include "compose/ReportGatherer.h"
#include "installation/Ledger.h"
#include "installation/TrackerState.h"
#include "platform/Clock.h"
#include "platform/Dispatcher.h"
#include "platform/ServiceConfiguration.h"
#include "platform/UserDefaults.h"
#include "transport/Delivery.h"
#include "util/DebugLog.h"
#include "util/Mailbox.h"

namespace quarnel {

// Leads launch and event reports from their hand-over to the transport. The life of a report:
//
//   accepted ──▶ handed over ──▶ gathered ──▶ composed ──▶ delivered
//      └▶ not due     └▶ no developer key  └▶ abandoned   └▶ failed ──▶ cached ──▶ replayed
//
//   accepted     The application's call puts a request on the queue of its operation
//   (EventTracking,
//                LaunchTracking); nothing else happens on the application's thread.
//   handed over  That queue calls callServerWithEventName. In one critical section the request gets
//                everything that must be of this moment: HandOver.
//   gathered     On the builder's queue, at once and in order, whatever the network does: the
//                ReportGatherer makes it ReportFacts. Nothing about the report is read later.
//   composed     When the transport has room, by number and by bytes: body, encoding and URL, pure
//                functions of the facts. Until then the facts wait, which takes little memory.
//   delivered    Delivery sends the record and decides by the outcome.
//
// The order is kept among events and among launches. Launches go first: they do not wait behind
// events that a slow network holds back.
//
// Callable from any thread, unless it says otherwise.
class ReportBuilder {
 public:
  // `launchDelivered` runs on the session's callback queue after a launch report has got through.
  ReportBuilder(std::shared_ptr<SerialQueue> queue, const Clock& clock,
                const UserDefaults& defaults, const ServiceConfiguration& services,
                TrackerState& state, ReportGatherer& gatherer, Delivery& delivery, Ledger& ledger,
                const DebugLog& log, std::function<void()> launchDelivered);

  // A launch.
  void callServerWithEventName(std::optional<std::string> eventName,
                               Admission::SharedTicket ticket);

  // An in-app event.
  void callServerWithEventName(std::optional<std::string> eventName,
                               std::optional<std::string> value, bool isInAppEvent, bool isNewAPI,
                               Admission::SharedTicket ticket);

  // Any report. Those that are handed over together share their moment.
  void callServerWithEventName(ReportRequest request);
  void callServerWithEventNames(std::vector<ReportRequest> requests);

  // Runs the task on the builder's queue, after all that was handed over before has been gathered,
  // and before anything later is.
  void afterGathering(Task task);

  // A report that was handed to the transport has been delivered, cached or lost. `size` is what
  // sizeOf said.
  void settled(std::size_t size);

  // Reports that the transport has, without outcome.
  std::size_t inFlight() const { return inFlight_; }

 private:
  using Arrival = std::variant<HandedOver, Task>;

  std::unique_ptr<HandOver> takeHandOver(bool isLaunch);
  std::shared_ptr<const AdAttribution> adAttribution(std::optional<Value> details) const;
  void put(Arrival arrival);
  void gatherArrived();
  void gather(std::vector<HandedOver>& batch);
  void sendWaiting();
  std::deque<ReportFacts>* nextWithRoom();
  void send(ReportFacts facts);

  const std::shared_ptr<SerialQueue> queue_;
  const Clock& clock_;
  const UserDefaults& defaults_;
  const ServiceConfiguration& services_;
  TrackerState& state_;
  ReportGatherer& gatherer_;
  Delivery& delivery_;
  Ledger& ledger_;
  const DebugLog& log_;
  const std::function<void()> launchDelivered_;

  Mailbox<Arrival> arrived_;

  // Touched on the queue only.
  std::deque<ReportFacts> launches_;
  std::deque<ReportFacts> others_;

  std::atomic<std::size_t> inFlight_ = 0;
  std::atomic<std::size_t> bytesInFlight_ = 0;
  std::atomic<bool> isHeld_ = false;  // Reports wait for room.
};

}  // namespace quarnel
