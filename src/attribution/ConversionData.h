#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <memory>
#include <optional>
#include <string>

#include "installation/DelegateSlot.h"
#include "installation/DeviceIdentity.h"
#include "installation/TrackerState.h"
#include "platform/Clock.h"
#include "platform/HttpSession.h"
#include "platform/ServiceConfiguration.h"
#include "platform/UserDefaults.h"
#include "util/DebugLog.h"

namespace quarnel {

// Fetches the installation's conversion data, keeps the last answer, and hands it to the delegate.
//
// One fetch cycle: without a delegate that listens, nothing. With a stored answer, that one is
// handed over on the main queue; it lasts for ever, or for 60 days from an answer that the service
// marked as fresh. Otherwise a request, unless five were refused with a status of 400 to 499.
// Cycles may overlap; each answer is stored and delivered by itself.
class ConversionData {
 public:
  ConversionData(HttpSession& session, const Clock& clock, UserDefaults& defaults,
                 const ServiceConfiguration& services, const TrackerState& state,
                 DelegateSlot& delegate, DeviceIdentity& identity, const DebugLog& log)
      : session_(session),
        clock_(clock),
        defaults_(defaults),
        services_(services),
        state_(state),
        delegate_(delegate),
        identity_(identity),
        log_(log) {}

  // Makes the delegate the tracker's and runs a fetch cycle on this thread.
  void loadConversionDataWithDelegate(std::shared_ptr<QuarnelTrackerDelegate> delegate);

  // Runs a fetch cycle if the delegate listens; called after a launch report has got through.
  void launchDelivered();

 private:
  bool delegateListens() const;
  void getConversionData();
  std::optional<Dictionary> storedData();
  void fetch();
  void receive(const HttpResult& result, Date start);
  void receiveAnswer(const HttpResponse& response, Date start);
  void receiveRefusal(int status);
  void store(Dictionary& data);
  void fail(const Error& error) const;
  Error makeError(int code, const char* description) const;

  HttpSession& session_;
  const Clock& clock_;
  UserDefaults& defaults_;
  const ServiceConfiguration& services_;
  const TrackerState& state_;
  DelegateSlot& delegate_;
  DeviceIdentity& identity_;
  const DebugLog& log_;
};

}  // namespace quarnel
