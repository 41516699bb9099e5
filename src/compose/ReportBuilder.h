#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "compose/AttributionFields.h"
#include "compose/DeviceFields.h"
#include "compose/Report.h"
#include "compose/TrackerContext.h"
#include "compose/UserFields.h"
#include "installation/Counters.h"
#include "installation/DeviceIdentity.h"
#include "installation/InstallDates.h"
#include "transport/QuarnelServerHandler.h"

namespace quarnel {

class SerialQueue;

// Builds launch and event reports and hands them to the transport.
//
// Callers may be on any thread, the application's included: a call only queues the report. Reports
// are built one at a time, in the order of the calls, on a serial queue of the builder's own, where
// the stores may be read and written without holding up anybody.
//
// While the transport has many reports without an outcome, those that follow wait unbuilt, which
// takes less memory, and go on as outcomes come in. When very many wait they go on all the same:
// the transport refuses what it has no room for, and the offline cache takes it.
class ReportBuilder {
 public:
  // `launchDelivered` runs on the session's callback queue after a launch report has got through.
  ReportBuilder(const TrackerContext& context, DeviceIdentity& identity, Counters& counters,
                InstallDates& dates, QuarnelServerHandler& serverHandler,
                std::function<void()> launchDelivered);

  // A launch.
  void callServerWithEventName(std::optional<std::string> eventName,
                               Admission::SharedTicket ticket);

  // An in-app event.
  void callServerWithEventName(std::optional<std::string> eventName,
                               std::optional<std::string> value, bool isInAppEvent, bool isNewAPI,
                               Admission::SharedTicket ticket);

  void callServerWithEventName(std::optional<std::string> eventName,
                               std::optional<std::string> value,
                               std::optional<Dictionary> dictionary, bool isEvent, bool isNewAPI,
                               Admission::SharedTicket ticket);

  // The transport tells the outcome of a report, on any thread.
  void exchangeEnded();

  // Reports that the transport has, without outcome.
  std::size_t inFlight() const { return inFlight_; }

 private:
  void takeArrived();
  void buildWaiting();
  bool hasRoom() const;
  void buildBatch();
  void build(Report& report);
  bool enter(Report& report);
  void fillBody(Report& report);
  void addReceipt(Report& report);
  void addCounters(Report& report);
  void addNetwork(Report& report);
  void addDates(Report& report, const BundleFacts& bundle);
  void handOff(const Report& report);

  const TrackerContext& context_;
  DeviceIdentity& identity_;
  Counters& counters_;
  InstallDates& dates_;
  QuarnelServerHandler& serverHandler_;
  const std::function<void()> launchDelivered_;
  const DeviceFields deviceFields_;
  const UserFields userFields_;
  const AttributionFields attributionFields_;
  const std::shared_ptr<SerialQueue> queue_;

  std::mutex mutex_;  // Guards the next two.
  std::deque<Report> arrived_;
  bool isTaskQueued_ = false;  // One that takes what has arrived.

  // Touched on the queue only.
  std::deque<Report> waiting_;
  std::optional<bool> hasWifi_;  // In this batch.

  std::atomic<std::size_t> inFlight_ = 0;
  std::atomic<bool> isHeld_ = false;  // Reports wait for room.
};

}  // namespace quarnel
