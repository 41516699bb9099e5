#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "compose/InstallationReader.h"
#include "compose/Report.h"
#include "installation/Counters.h"
#include "installation/DelegateSlot.h"
#include "installation/DeviceIdentity.h"
#include "installation/Ledger.h"
#include "installation/TrackerState.h"
#include "util/DebugLog.h"
#include "util/JsonFields.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// Turns what was handed over into facts, in that order: takes report numbers, reads identity, dates
// and conversion data, and takes the steps that go with it: log lines, stored values, and the call
// of the delegate for a link. What arrived together is numbered with one commit, and is told of the
// same installation. For the builder's queue only.
class ReportGatherer {
 public:
  ReportGatherer(UserDefaults& defaults, TrackerState& state, const DelegateSlot& delegate,
                 DeviceIdentity& identity, Counters& counters, InstallationReader& installation,
                 const QuarnelUtils& utils, Ledger& ledger, const DebugLog& log)
      : defaults_(defaults),
        state_(state),
        delegate_(delegate),
        identity_(identity),
        counters_(counters),
        installation_(installation),
        utils_(utils),
        ledger_(ledger),
        log_(log) {}

  // Leaves out what cannot become a report: without a developer key, or abandoned. Each is counted
  // and logged.
  std::vector<ReportFacts> gather(std::vector<HandedOver>& reports);

 private:
  bool hasKey(const HandedOver& report);
  ReportFacts gatherOne(HandedOver& report, const ReportNumbers& numbers, bool isFirstOfBatch);
  std::string enter(const HandedOver& report);
  std::string receiptField() const;
  std::string purchaseFields(const ReportRequest& request) const;
  void takeLink(const PendingLaunch& pending, JsonFields& fields) const;
  void takePush(const PendingLaunch& pending, JsonFields& fields) const;
  static std::optional<std::string> pushText(const Value& payload);
  void readCommon(const HandOver& handOver);

  UserDefaults& defaults_;
  TrackerState& state_;
  const DelegateSlot& delegate_;
  DeviceIdentity& identity_;
  Counters& counters_;
  InstallationReader& installation_;
  const QuarnelUtils& utils_;
  Ledger& ledger_;
  const DebugLog& log_;

  // What the last report was made of.
  std::shared_ptr<const Settings> settings_;
  std::shared_ptr<const AdAttribution> ads_;
  std::shared_ptr<const CommonFields> common_;
};

}  // namespace quarnel
